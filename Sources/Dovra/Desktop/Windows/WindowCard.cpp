#include "Desktop/Windows/WindowCard.hpp"

#include <QAccessibleWidget>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWindow>

#include "Desktop/Windows/ToolkitText.hpp"
#include "Desktop/Windows/X11Session.hpp"

namespace dovra {

namespace {

constexpr int cornerRadius = 12;

/// Assistive programs are told that it is a window: for a widget of no kind they hear of a part of one.
QAccessibleInterface* accessibleWindow(const QString&, QObject* object) {
    auto* card = dynamic_cast<WindowCard*>(object);
    return card == nullptr ? nullptr : new QAccessibleWidget(card, QAccessible::Window);
}

}  // namespace

WindowCard::WindowCard(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      hasRoundCorners_(QGuiApplication::platformName() != u"xcb" || X11Session::isComposited()) {
    QAccessible::installFactory(accessibleWindow);
    setAttribute(Qt::WA_TranslucentBackground, hasRoundCorners_);
}

QWidget* WindowCard::makeHairline() {
    auto* line = new QWidget(this);
    line->setFixedHeight(1);
    line->setAutoFillBackground(true);
    line->setBackgroundRole(QPalette::Mid);
    return line;
}

QToolButton* WindowCard::makeSymbolButton(std::string_view name) {
    auto* button = new QToolButton(this);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setStyleSheet(
        QStringLiteral("QToolButton { border: 1px solid transparent; border-radius: 6px; padding: 2px; }"
                       "QToolButton:hover { background: palette(midlight); }"
                       "QToolButton:focus, QToolButton:pressed { border-color: palette(highlight); }"
                       "QToolButton::menu-indicator { image: none; }"));
    button->setAccessibleName(toolkitText(name));
    button->setToolTip(toolkitText(name));
    return button;
}

/// Comes before the window is on screen.
void WindowCard::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    X11Session::showOnAllWorkspaces(winId());
}

void WindowCard::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) windowHandle()->startSystemMove();
}

void WindowCard::paintEvent(QPaintEvent*) {
    QPainterPath card;
    const int radius = hasRoundCorners_ ? cornerRadius : 0;
    card.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(card, palette().base());
    if (foot_ != nullptr && foot_->isVisibleTo(this)) {
        QPainterPath foot;
        foot.addRect(0, foot_->y(), width(), height() - foot_->y());
        painter.fillPath(card & foot, palette().window());
        painter.fillRect(0, foot_->y(), width(), 1, palette().mid());
    }
    painter.strokePath(card, palette().mid().color());
}

}  // namespace dovra
