#pragma once

#include <optional>
#include <string>

namespace dovra {

/// The window that shows what is in the selected file.
class PreviewPane {
public:
    virtual ~PreviewPane() = default;

    virtual bool isShown() const = 0;

    /// Shows the file with this full path; without one, that nothing is selected.
    virtual void present(const std::optional<std::string>& path) = 0;
    virtual void dismiss() = 0;
};

}  // namespace dovra
