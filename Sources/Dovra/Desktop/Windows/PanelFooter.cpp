#include "Desktop/Windows/PanelFooter.hpp"

#include <QHBoxLayout>
#include <QHelpEvent>
#include <QToolTip>
#include <utility>

#include "Desktop/Model/PanelText.hpp"
#include "Desktop/Windows/PanelMetrics.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

namespace {

/// The keys as caps, and what they do.
QWidget* keyHintRow(QWidget* parent) {
    auto* hints = new QWidget(parent);
    auto* row = new QHBoxLayout(hints);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
    for (const KeyHint& hint : keyHints()) {
        auto* cap = new QLabel(toolkitText(hint.keys), hints);
        cap->setStyleSheet(
            QStringLiteral("border: 1px solid palette(mid); border-radius: 4px;"
                           "padding: 0px 5px; background: palette(base);"));
        auto* label = new QLabel(toolkitText(hint.label), hints);
        label->setForegroundRole(QPalette::PlaceholderText);
        if (row->count() > 0) row->addSpacing(6);
        row->addWidget(cap);
        row->addWidget(label);
    }
    hints->setMinimumWidth(1);  // They are hidden rather than keep the panel wide.
    return hints;
}

void showText(QLabel& label, const std::string& text) {
    label.setText(toolkitText(text));
    label.setVisible(!text.empty());
}

}  // namespace

PanelFooter::PanelFooter(std::function<std::string()> coverage, QWidget* parent)
    : QWidget(parent),
      coverage_(std::move(coverage)),
      progress_(new QLabel(this)),
      matches_(new QLabel(this)),
      fuzzy_(new QLabel(this)),
      note_(new ElidedLabel(this)),
      hints_(keyHintRow(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(panelMetrics::edge - 1, 8, panelMetrics::edge - 1, 8);
    row->setSpacing(10);
    for (QLabel* label : {progress_, matches_, fuzzy_, static_cast<QLabel*>(note_)}) {
        label->setTextFormat(Qt::PlainText);
        if (label != fuzzy_) label->setForegroundRole(QPalette::PlaceholderText);
        row->addWidget(label, label == note_ ? 1 : 0);
    }
    progress_->setForegroundRole(QPalette::Link);
    fuzzy_->setStyleSheet(
        QStringLiteral("border-radius: 7px; padding: 0px 7px; background: palette(highlight);"
                       "color: palette(highlighted-text);"));
    row->addWidget(hints_);
    setMinimumHeight(sizeHint().height());  // also without the hints
}

void PanelFooter::show(const SearchState& state) {
    const Footer texts = footer(state);
    showText(*progress_, texts.progress);
    showText(*matches_, texts.matches);
    showText(*fuzzy_, texts.fuzzy);
    note_->setText(toolkitText(texts.note));
    note_->setToolTip(withoutMarkup(texts.note));
    showHints();
}

bool PanelFooter::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) return QWidget::event(event);
    QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), withoutMarkup(coverage_()), this);
    return true;
}

void PanelFooter::resizeEvent(QResizeEvent*) {
    showHints();
}

void PanelFooter::showHints() {
    // What is found, and what went wrong, come before how to go on.
    hints_->setVisible(note_->text().isEmpty() && width() > hints_->sizeHint().width() + 200);
}

}  // namespace dovra
