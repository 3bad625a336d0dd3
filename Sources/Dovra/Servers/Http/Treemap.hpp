#pragma once

#include <span>
#include <vector>

namespace dovra {

/// A box in per cent of the width and height of the whole picture.
struct TreemapBox {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

/// Divides a picture of the given width-to-height ratio into one box for each value, of an area in proportion
/// to it and as near to a square as can be ("squarified"). The values descend; none is negative, their sum is
/// above 0.
std::vector<TreemapBox> treemap(std::span<const double> values, double ratio);

}  // namespace dovra
