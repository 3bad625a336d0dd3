#pragma once

#include <QMenu>
#include <functional>
#include <string_view>
#include <vector>

#include "Desktop/Model/StatusMenu.hpp"

namespace dovra {

/// Writes a title so that it is shown as it is, with the marks of those who draw the menu escaped.
using MenuTextWriter = QString (*)(std::string_view title);

/// Gives the menu these items in the place of its former ones. `perform` is called with a chosen item.
void fillMenu(QMenu& menu, const std::vector<MenuItem>& items, MenuTextWriter write,
              const std::function<void(const MenuItem&)>& perform);

}  // namespace dovra
