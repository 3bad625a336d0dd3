#pragma once

#include "Desktop/Model/Workspace.hpp"

namespace dovra {

/// The desktop's default applications, its file manager and its clipboard.
class DesktopWorkspace : public Workspace {
public:
    void open(const std::string& path, Failed failed) override;
    void reveal(const std::string& path, Failed failed) override;
    void copy(std::string_view text) override;
};

}  // namespace dovra
