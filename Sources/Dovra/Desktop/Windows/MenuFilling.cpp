#include "Desktop/Windows/MenuFilling.hpp"

#include "Desktop/Windows/ToolkitText.hpp"

namespace dovra {

namespace {

void addItem(QMenu& menu, const MenuItem& item, MenuTextWriter write,
             const std::function<void(const MenuItem&)>& perform) {
    if (item.title.empty()) {
        menu.addSeparator();
        return;
    }
    if (!item.submenu.empty()) {
        fillMenu(*menu.addMenu(write(item.title)), item.submenu, write, perform);
        return;
    }
    QAction* action = menu.addAction(write(item.title));
    action->setEnabled(item.isEnabled);
    action->setToolTip(withoutMarkup(item.toolTip));
    action->setCheckable(item.isChecked.has_value());
    action->setChecked(item.isChecked.value_or(false));
    if (!item.keyEquivalent.empty()) {
        action->setShortcut(QKeySequence(QStringLiteral("Ctrl+") + toolkitText(item.keyEquivalent)));
        action->setShortcutContext(Qt::WidgetShortcut);  // The panel has the key; this only shows it.
    }
    QObject::connect(action, &QAction::triggered, &menu, [perform, item] { perform(item); });
}

}  // namespace

void fillMenu(QMenu& menu, const std::vector<MenuItem>& items, MenuTextWriter write,
              const std::function<void(const MenuItem&)>& perform) {
    menu.clear();
    for (QMenu* former : menu.findChildren<QMenu*>(Qt::FindDirectChildrenOnly))
        former->deleteLater();
    menu.setToolTipsVisible(true);
    for (const MenuItem& item : items)
        addItem(menu, item, write, perform);
}

}  // namespace dovra
