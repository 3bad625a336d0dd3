#pragma once

#include <QWidget>
#include <functional>

#include "Desktop/Model/PanelKeys.hpp"
#include "Desktop/Model/RowAction.hpp"
#include "Index/FileRow.hpp"

namespace dovra {

/// The window that shows what is in the selected file.
class PreviewPane {
public:
    virtual ~PreviewPane() = default;

    virtual bool isShown() const = 0;

    /// Shows the row's file; without a row, that nothing is selected. The window appears beside that of the
    /// rows and leaves it the keyboard.
    virtual void present(const FileRow* row, const QWidget& rows) = 0;
    virtual void dismiss() = 0;

    /// Scrolls so many pages down. Returns whether there is more than the window shows at once.
    virtual bool scrollPages(int pages) = 0;

    /// What the user asks for in this window.
    std::function<void(KeyAction)> onKey;
    std::function<void(RowAction, const FileRow&)> onAction;
    std::function<void(const QString&)> onTyped;
};

}  // namespace dovra
