#include "Servers/Tools/Tool.hpp"

#include <array>

namespace dovra {

std::span<const Tool> tools() {
    static const std::array all = {searchFilesTool(), searchContentTool(), findDuplicateFilesTool(),
                                   diskUsageTool(), indexStatsTool()};
    return all;
}

}  // namespace dovra
