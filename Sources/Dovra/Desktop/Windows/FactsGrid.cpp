#include "Desktop/Windows/FactsGrid.hpp"

#include "Base/ShownText.hpp"
#include "Desktop/Windows/ElidedLabel.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

FactsGrid::FactsGrid(QWidget* parent) : QWidget(parent), grid_(new QGridLayout(this)) {
    grid_->setContentsMargins(18, 10, 18, 4);
    grid_->setHorizontalSpacing(8);
    grid_->setVerticalSpacing(4);
    grid_->setColumnStretch(1, 1);
    grid_->setColumnStretch(4, 1);
    grid_->setColumnMinimumWidth(2, 10);
}

int FactsGrid::heightOf(int lines) const {
    const QMargins margins = grid_->contentsMargins();
    return margins.top() + margins.bottom() + lines * (fontMetrics().height() + grid_->verticalSpacing());
}

QLabel* FactsGrid::makeLabel(std::string_view text) {
    auto* label = new ElidedLabel(this);
    label->setText(toolkitText(shownText(text)));
    label->show();  // Otherwise it would appear an event later than the rest.
    return label;
}

void FactsGrid::show(const std::vector<PreviewFact>& facts) {
    while (QLayoutItem* item = grid_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (int i = 0; i < int(facts.size()); ++i) {
        const auto& [name, value] = facts[std::size_t(i)];
        auto* nameLabel = makeLabel(name);
        nameLabel->setForegroundRole(QPalette::PlaceholderText);
        auto* valueLabel = makeLabel(value);
        valueLabel->setToolTip(withoutMarkup(shownText(value)));
        const int column = i % 2 == 0 ? 0 : 3;
        grid_->addWidget(nameLabel, i / 2, column);
        grid_->addWidget(valueLabel, i / 2, column + 1);
    }
    setVisible(!facts.empty());
}

}  // namespace dovra
