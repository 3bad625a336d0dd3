#pragma once

#include <QLineEdit>
#include <QMenu>
#include <QStackedWidget>
#include <QToolButton>
#include <functional>
#include <memory>
#include <string>

#include "Desktop/Model/SearchViewModel.hpp"
#include "Desktop/Windows/ElidedLabel.hpp"
#include "Desktop/Windows/PanelFooter.hpp"
#include "Desktop/Windows/PreviewPane.hpp"
#include "Desktop/Windows/ResultsView.hpp"
#include "Desktop/Windows/WindowCard.hpp"

namespace dovra {

/// The search panel: shows the state of a view model, and hands it what the user does. It is made once, and
/// hidden and shown.
class PanelWindow : public WindowCard {
public:
    /// `coverage` tells how changes are watched. `preview` may be null, and outlives the panel otherwise.
    PanelWindow(std::shared_ptr<SearchViewModel> model, std::function<std::string()> coverage,
                PreviewPane* preview);
    ~PanelWindow() override;

    /// Shows the panel in the middle of the screen with the pointer, in front, with the keyboard in the
    /// search field.
    void present();

    /// A button with this menu, for desktops without a place for a status item. Null takes it away.
    void setMenu(QMenu* menu);

    /// Whether the state has changes that are not on screen yet.
    bool isBehind() const { return isBehind_; }

    /// Null when there is none.
    const FileRow* selectedRow() const { return model_->state().selectedRow(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QLayout* makeSearchRow();
    QWidget* makeNothingPage();
    void addShortcuts();
    void updateSymbols();
    void scheduleSync();
    void sync();
    void showBody();
    void focusSearch();
    /// Does what the model decides about a key. Returns whether it is consumed.
    bool decideKey(const QKeyEvent& event);
    void react(KeyAction action);
    void perform(RowAction action);

    const std::shared_ptr<SearchViewModel> model_;
    PreviewPane* preview_;
    QLabel* glass_;
    QLineEdit* field_;
    QToolButton* clear_;
    QToolButton* menu_;
    QStackedWidget* body_;
    ResultsView* results_;
    ElidedLabel* nothing_;
    PanelFooter* footer_;
    std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);  ///< for the model's observer
    std::optional<std::string> shownPath_;                          ///< of the selected row
    std::int64_t shownFocusToken_ = 0;
    bool isBehind_ = false;
};

}  // namespace dovra
