#include "Servers/Http/Treemap.hpp"

#include <algorithm>
#include <numeric>

namespace dovra {

namespace {

/// How far the most stretched box of a row is from a square: 1 is a square. The row lies along a side of
/// length `side`, and its areas descend.
double worstRatio(std::span<const double> areas, double side) {
    const double sum = std::accumulate(areas.begin(), areas.end(), 0.0);
    const double depth = sum / side;
    const double longest = areas.front() / depth;
    const double shortest = areas.back() / depth;
    return std::max({longest / depth, depth / shortest});
}

/// The longest row from the start of `areas` that another box would only make worse.
std::size_t rowLength(std::span<const double> areas, double side) {
    std::size_t length = 1;
    while (length < areas.size() &&
           worstRatio(areas.first(length + 1), side) <= worstRatio(areas.first(length), side))
        ++length;
    return length;
}

/// Lays a row along the shorter side of what is free, which becomes smaller by it.
void layRow(std::span<const double> areas, TreemapBox& free, std::vector<TreemapBox>& boxes) {
    const bool isColumn = free.width >= free.height;
    const double side = isColumn ? free.height : free.width;
    const double depth = std::accumulate(areas.begin(), areas.end(), 0.0) / side;
    double at = 0;
    for (const double area : areas) {
        const double length = area / depth;
        boxes.push_back(isColumn ? TreemapBox{free.x, free.y + at, depth, length}
                                 : TreemapBox{free.x + at, free.y, length, depth});
        at += length;
    }
    (isColumn ? free.x : free.y) += depth;
    (isColumn ? free.width : free.height) -= depth;
}

}  // namespace

std::vector<TreemapBox> treemap(std::span<const double> values, const TreemapBox& frame) {
    const double sum = std::accumulate(values.begin(), values.end(), 0.0);
    std::vector<double> areas;
    for (const double value : values)
        areas.push_back(value / sum * frame.width * frame.height);
    std::vector<TreemapBox> boxes;
    TreemapBox free = frame;
    for (std::span<const double> left(areas); !left.empty();) {
        if (left.front() <= 0 || free.width <= 0 || free.height <= 0) break;
        const std::size_t length = rowLength(left, std::min(free.width, free.height));
        layRow(left.first(length), free, boxes);
        left = left.subspan(length);
    }
    boxes.resize(areas.size());  // what has no area has no place either
    return boxes;
}

}  // namespace dovra
