#pragma once

#include <QGridLayout>
#include <QLabel>
#include <QWidget>
#include <string_view>
#include <vector>

#include "Preview/PreviewMessage.hpp"

namespace dovra {

/// Facts about a file, two in a line. It never needs more width than it has.
class FactsGrid : public QWidget {
public:
    explicit FactsGrid(QWidget* parent);

    /// The height with so many lines.
    int heightOf(int lines) const;

    void show(const std::vector<PreviewFact>& facts);

private:
    QLabel* makeLabel(std::string_view text);

    QGridLayout* grid_;
};

}  // namespace dovra
