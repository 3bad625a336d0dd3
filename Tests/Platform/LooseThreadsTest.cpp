#include <future>
#include <gtest/gtest.h>

#include "Platform/LooseThreads.hpp"

namespace dovra {
namespace {

TEST(LooseThreads, LeaveBehindWorkThatDoesNotEnd) {
    std::promise<void> answer;
    std::promise<void> ended;
    {
        LooseThreads threads("loose");
        threads.async([&] {
            answer.get_future().wait();
            ended.set_value();
        });
    }
    answer.set_value();
    ended.get_future().wait();
}

}  // namespace
}  // namespace dovra
