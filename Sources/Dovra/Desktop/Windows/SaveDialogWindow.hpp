#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "Desktop/Model/StatusMenu.hpp"

namespace dovra {

/// Shows the dialog in front of the parent and returns. `save` is called with the name as typed if the user
/// agrees.
void showSaveDialog(QWidget* parent, const SaveDialog& texts, std::function<void(const std::string&)> save);

}  // namespace dovra
