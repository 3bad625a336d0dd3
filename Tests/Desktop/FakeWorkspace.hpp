#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Desktop/Model/Workspace.hpp"

namespace dovra::test {

/// Notes what it is asked to do. Every request fails with `failure`, if there is one.
class FakeWorkspace : public Workspace {
public:
    void open(const std::string& path, Failed failed) override { note("open " + path, failed); }
    void reveal(const std::string& path, Failed failed) override { note("reveal " + path, failed); }
    void copy(std::string_view text) override { requests.push_back("copy " + std::string(text)); }

    std::vector<std::string> requests;
    std::string failure;

private:
    void note(std::string request, const Failed& failed) {
        requests.push_back(std::move(request));
        if (!failure.empty()) failed(failure);
    }
};

}  // namespace dovra::test
