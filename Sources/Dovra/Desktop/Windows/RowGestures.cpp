#include "Desktop/Windows/RowGestures.hpp"

#include <QAction>
#include <QDrag>
#include <QMenu>
#include <QUrl>

#include "Base/PathText.hpp"
#include "Desktop/Windows/Symbols.hpp"
#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

QMimeData* filesData(const std::vector<FileRow>& rows) {
    QList<QUrl> urls;
    for (const FileRow& row : rows)
        urls += fileUrl(joinPath(row.path, row.name));
    auto* data = new QMimeData;
    data->setUrls(urls);
    return data;
}

void dragRow(QWidget* source, const FileRow& row) {
    auto* drag = new QDrag(source);
    drag->setMimeData(filesData({row}));
    const Symbol symbol = symbolOf(row);
    const QColor color = symbolColor(symbol, source->palette().text().color());
    drag->setPixmap(symbolPixmap(symbol, color, 32, source->devicePixelRatioF()));
    drag->exec(Qt::CopyAction | Qt::LinkAction, Qt::CopyAction);
}

void showRowMenu(QWidget* parent, const QPoint& place, const FileRow& row,
                 const std::function<void(RowAction, const FileRow&)>& perform) {
    auto* menu = new QMenu(parent);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const RowActionItem& item : rowActionItems()) {
        QAction* action = menu->addAction(menuText(item.title));
        action->setShortcut(QKeySequence(toolkitText(item.shortcut)));
        action->setShortcutContext(Qt::WidgetShortcut);  // The window has the keys; this only shows them.
        // A copy of the row, because a refresh may bring others while the menu is open.
        QObject::connect(action, &QAction::triggered, parent,
                         [perform, action = item.action, row] { perform(action, row); });
    }
    menu->popup(place);
}

void addRowKeys(QWidget* window, const std::function<void(RowAction)>& perform) {
    for (const RowActionItem& item : rowActionItems()) {
        const QString shortcut = toolkitText(item.shortcut);
        QString onKeypad = shortcut;
        onKeypad.replace(QStringLiteral("Return"), QStringLiteral("Enter"));
        QList<QKeySequence> keys{QKeySequence(shortcut)};
        if (onKeypad != shortcut) keys += QKeySequence(onKeypad);
        auto* action = new QAction(window);
        action->setShortcuts(keys);
        QObject::connect(action, &QAction::triggered, window,
                         [perform, chosen = item.action] { perform(chosen); });
        window->addAction(action);
    }
}

}  // namespace dovra
