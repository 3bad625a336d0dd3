#pragma once

#include <span>
#include <vector>

namespace dovra {

struct TreemapBox {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

/// Divides a frame into one box for each value, of an area in proportion to it and as near to a square as can
/// be ("squarified"). The values descend; none is negative, and their sum is above 0.
std::vector<TreemapBox> treemap(std::span<const double> values, const TreemapBox& frame);

}  // namespace dovra
