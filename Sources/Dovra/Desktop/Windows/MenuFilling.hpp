#pragma once

#include <QMenu>
#include <functional>
#include <vector>

#include "Desktop/Model/StatusMenu.hpp"

namespace dovra {

/// Gives the menu these items in the place of its former ones. `perform` is called with a chosen item.
void fillMenu(QMenu& menu, const std::vector<MenuItem>& items,
              const std::function<void(const MenuItem&)>& perform);

}  // namespace dovra
