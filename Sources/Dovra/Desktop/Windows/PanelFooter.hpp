#pragma once

#include <QLabel>
#include <QWidget>
#include <functional>
#include <string>

#include "Desktop/Model/SearchState.hpp"
#include "Desktop/Windows/ElidedLabel.hpp"

namespace dovra {

/// The line at the panel's foot: how far the search is, and the keys. The pointer over it brings up how
/// changes are watched.
class PanelFooter : public QWidget {
public:
    PanelFooter(std::function<std::string()> coverage, QWidget* parent);

    void show(const SearchState& state);

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void showHints();

    std::function<std::string()> coverage_;
    QLabel* progress_;
    QLabel* matches_;
    QLabel* fuzzy_;
    ElidedLabel* note_;
    QWidget* hints_;
};

}  // namespace dovra
