#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace dovra::fuzz {

/// What inputs are made from. Never empty.
using Seeds = std::vector<std::string>;

/// Ends the program with status 2 and the message on standard error.
[[noreturn]] void fail(const std::string& message);

/// The empty input, the files of the corpus folder in the order of their names, and the words of the
/// dictionary, which stand in quotes, one a line. Either may be absent.
Seeds readSeeds(const std::filesystem::path& corpus, const std::filesystem::path& dictionary);

/// The input of that number: first the seeds as they are, then random changes of them, a few of them long. It
/// depends on the number and the seeds alone, never on the inputs before it.
std::string makeInput(std::size_t number, const Seeds& seeds);

}  // namespace dovra::fuzz
