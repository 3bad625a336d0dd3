#pragma once

#include <QPushButton>
#include <QWidget>
#include <functional>
#include <string>

#include "Query/Suggestions.hpp"

namespace dovra {

/// A query to pick, with a note on what it finds.
class SuggestionChip : public QPushButton {
public:
    SuggestionChip(const Suggestion& suggestion, QWidget* parent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    bool event(QEvent* event) override;

private:
    QFont queryFont() const;

    QString query_;
    QString note_;
};

/// What stands below the search field while nothing is asked.
class StartPage : public QWidget {
public:
    StartPage(const std::function<void(std::string query)>& onPick, QWidget* parent);

    QSize minimumSizeHint() const override;
};

}  // namespace dovra
