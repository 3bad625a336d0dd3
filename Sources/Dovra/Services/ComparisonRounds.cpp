#include "Services/ComparisonRounds.hpp"

#include <algorithm>
#include <ctime>
#include <utility>

namespace dovra {

namespace {

/// The rest after a piece, as a multiple of the time that its reading took.
constexpr int restInRounds = 99;
constexpr int restWhileCatchingUp = 3;

}  // namespace

void ComparisonRounds::startOver(Time now, bool catchesUp) {
    comparison_.reset();
    ++era_;
    catchesUp_ = catchesUp;
    nextTime_ = catchesUp ? now : now + interval;
}

std::optional<DiskComparison::Piece> ComparisonRounds::next(const FileIndex& index, Time now) {
    if (now < nextTime()) return std::nullopt;
    if (!comparison_) {
        if (!std::exchange(isWorthwhile_, false) && !catchesUp_) {
            nextTime_ = now + interval;
            return std::nullopt;
        }
        using Stage = DiskComparison::Stage;
        comparison_.emplace(catchesUp_ ? Stage::entries : Stage::stamps);
        current_ = {};
        began_ = now;
    }
    DiskComparison::Piece piece = comparison_->next(index);
    if (piece.folders.empty()) {
        end(now);
        return std::nullopt;
    }
    nextTime_ = Time::max();
    return piece;
}

ChangeBatch ComparisonRounds::take(const FileIndex& index, const DiskComparison::Reading& reading,
                                   Clock::duration took, Time now) {
    nextTime_ = now + took * (catchesUp_ ? restWhileCatchingUp : restInRounds);
    return comparison_->compare(index, reading);
}

void ComparisonRounds::addFind(const std::string& folder) {
    ++current_.finds;
    if (current_.example.empty()) current_.example = folder;
}

void ComparisonRounds::end(Time now) {
    comparison_.reset();
    nextTime_ = std::max(now, began_ + interval);
    if (std::exchange(catchesUp_, false)) return;
    current_.number = last_ ? last_->number + 1 : 1;
    current_.endedAt = std::time(nullptr);
    last_ = std::move(current_);
}

}  // namespace dovra
