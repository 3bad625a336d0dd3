#include "Desktop/Windows/StartPage.hpp"

#include <QEvent>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>
#include <algorithm>

#include "Desktop/Model/PanelText.hpp"
#include "Desktop/Windows/Emblem.hpp"
#include "Desktop/Windows/ToolkitText.hpp"
#include "Desktop/Windows/WindowTheme.hpp"

namespace dovra {

namespace {

constexpr int chipsPerRow = 3;

/// A line of text in the middle, in letters of this size.
QLabel* centeredLine(std::string_view text, double size, QFont::Weight weight, QPalette::ColorRole role,
                     QWidget* parent) {
    auto* label = new QLabel(toolkitText(text), parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * size);
    font.setWeight(weight);
    label->setFont(font);
    label->setForegroundRole(role);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    return label;
}

}  // namespace

SuggestionChip::SuggestionChip(const Suggestion& suggestion, QWidget* parent)
    : QPushButton(parent), query_(toolkitText(suggestion.query)), note_(toolkitText(suggestion.note)) {
    setAccessibleName(QStringLiteral("%1, %2").arg(query_, note_));
    setCursor(Qt::PointingHandCursor);
    setFocusPolicy(Qt::TabFocus);
    setAttribute(Qt::WA_Hover);
}

QFont SuggestionChip::queryFont() const {
    QFont chosen = font();
    chosen.setWeight(QFont::DemiBold);
    return chosen;
}

QSize SuggestionChip::sizeHint() const {
    const int width =
        std::max(QFontMetrics(queryFont()).horizontalAdvance(query_), fontMetrics().horizontalAdvance(note_));
    return {width + 36, 2 * fontMetrics().height() + 22};
}

bool SuggestionChip::event(QEvent* event) {
    if (event->type() == QEvent::HoverEnter || event->type() == QEvent::HoverLeave) update();
    return QPushButton::event(event);
}

void SuggestionChip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool isActive = underMouse() || hasFocus() || isDown();
    painter.setPen(isActive ? palette().highlight().color() : palette().mid().color());
    painter.setBrush(isActive ? palette().midlight() : palette().window());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 9, 9);
    const QRect inner = rect().adjusted(10, 9, -10, -9);
    painter.setLayoutDirection(Qt::LeftToRight);  // Queries are read so wherever they stand.
    painter.setPen(palette().color(QPalette::Link));
    painter.setFont(queryFont());
    painter.drawText(inner, Qt::AlignHCenter | Qt::AlignTop, query_);
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.setFont(font());
    painter.drawText(inner, Qt::AlignHCenter | Qt::AlignBottom, note_);
}

StartPage::StartPage(const std::function<void(std::string query)>& onPick, QWidget* parent)
    : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(18, 10, 18, 10);
    column->setSpacing(0);
    column->addStretch(3);
    column->addWidget(new Emblem(Symbol::searchCircle, QPalette::Highlight, this));
    column->addSpacing(12);
    column->addWidget(
        centeredLine(panelText::startTitle(), 1.7, QFont::DemiBold, QPalette::WindowText, this));
    column->addSpacing(6);
    column->addWidget(
        centeredLine(panelText::startLine, 1.0, QFont::Normal, QPalette::PlaceholderText, this));
    column->addSpacing(8);
    column->addStretch(1);
    auto* chips = new QGridLayout;
    chips->setSpacing(10);
    int widest = 0;
    for (int i = 0; i < int(suggestions.size()); ++i) {
        const Suggestion& suggestion = suggestions[std::size_t(i)];
        auto* chip = new SuggestionChip(suggestion, this);
        connect(chip, &QPushButton::clicked, this,
                [onPick, query = std::string(suggestion.query)] { onPick(query); });
        widest = std::max(widest, chip->sizeHint().width());
        chips->addWidget(chip, i / chipsPerRow, 1 + i % chipsPerRow);
    }
    for (int i = 1; i <= chipsPerRow; ++i)
        chips->setColumnMinimumWidth(i, widest);
    chips->setColumnStretch(0, 1);
    chips->setColumnStretch(chipsPerRow + 1, 1);
    column->addLayout(chips);
    column->addStretch(4);
}

QSize StartPage::minimumSizeHint() const {
    // The layout itself does not count the lines that its texts have at this width.
    const int width = layout()->minimumSize().width();
    return {width, layout()->minimumHeightForWidth(width)};
}

}  // namespace dovra
