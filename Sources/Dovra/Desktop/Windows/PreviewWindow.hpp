#pragma once

#include <QLabel>
#include <QPlainTextEdit>
#include <QStackedWidget>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>

#include "Desktop/Windows/ElidedLabel.hpp"
#include "Desktop/Windows/FactsGrid.hpp"
#include "Desktop/Windows/FolderView.hpp"
#include "Desktop/Windows/PictureLabel.hpp"
#include "Desktop/Windows/PreviewPane.hpp"
#include "Desktop/Windows/PreviewRequests.hpp"
#include "Desktop/Windows/WindowCard.hpp"
#include "Services/AppServices.hpp"

namespace dovra {

/// The window with the preview of the selected row. What it says of the file itself is there at once; the
/// rest is loaded in the background.
class PreviewWindow : public WindowCard, public PreviewPane {
public:
    struct Environment {
        std::shared_ptr<const FileIndex> index;
        std::shared_ptr<MainQueue> mainQueue;
        std::function<void(DispatchQueue::Work)> loadAsync;  ///< see `PreviewRequests::make`
        PreviewLoader loader;
    };

    /// Of the services' index, with a queue of its own and the decoder that belongs to this program.
    static Environment environment(const std::shared_ptr<AppServices>& services,
                                   std::shared_ptr<MainQueue> mainQueue);

    explicit PreviewWindow(Environment environment);
    ~PreviewWindow() override;

    bool isShown() const override { return isVisible(); }
    void present(const FileRow* row, const QWidget& rows) override;
    void dismiss() override { hide(); }
    bool scrollPages(int pages) override;

    /// Whether what it shows is still being loaded.
    bool isWaiting() const { return requests_->isWaiting(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void addPage(QWidget* content, const QMargins& margins);
    void showPage(const QWidget* content);
    QLayout* makeHead();
    QWidget* makeMessagePage();
    void makeTextPage();
    void placeBeside(const QWidget& rows);
    void showHead();
    void showSymbols();
    void load();
    void showContent(PreviewContent content);
    void showPicture(QImage picture);
    void showText(const std::string& text);
    void showMessage(const std::string& reason);
    void perform(RowAction action);
    void drag();
    /// The pixels for a picture.
    QSize room() const;

    const std::shared_ptr<const PreviewContents> contents_;
    const std::shared_ptr<PreviewRequests> requests_;
    std::optional<FileRow> row_;
    QSize loadedRoom_;  ///< that the newest picture was asked for
    QTimer isLate_;     ///< runs while the body still shows another row
    PictureLabel* icon_;
    ElidedLabel* title_;
    ElidedLabel* summary_;
    QToolButton* close_;
    QStackedWidget* body_;
    PictureLabel* picture_;
    QPlainTextEdit* text_;
    FolderView* folder_;
    PictureLabel* emblem_;
    QLabel* message_;
    FactsGrid* facts_;
};

}  // namespace dovra
