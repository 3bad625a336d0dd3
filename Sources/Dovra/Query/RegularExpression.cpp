#define PCRE2_CODE_UNIT_WIDTH 8

#include "Query/RegularExpression.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fmt/format.h>
#include <new>
#include <pcre2.h>
#include <utility>

#include "Base/AsciiFold.hpp"
#include "Base/Utf8.hpp"

namespace dovra {

namespace {

// A pattern can take practically endless steps at every name. The library limits only the backtracking from
// one starting position, so a text of length n may still take n times as many steps. So each pattern is
// compiled twice. The first code is fast, and ordinary patterns stay below its limit for each position. The
// second code calls back at every item of the pattern. It takes three times as long, and counts the steps of
// all positions together. It tries the matches that the first has abandoned, and measures the steps of a
// pattern.

/// The remaining steps of a match. Moving on in the text counts, too, because a single item of a pattern can
/// read all of it.
struct StepCount {
    std::uint32_t left = 0;
    std::uint32_t perCallback = 1;
    std::size_t position = 0;
};

int countCallback(pcre2_callout_block* block, void* data) {
    constexpr std::size_t bytesPerStep = 16;
    auto& steps = *static_cast<StepCount*>(data);
    const std::size_t last = std::exchange(steps.position, block->current_position);
    const std::size_t moved = std::max(last, steps.position) - std::min(last, steps.position);
    const std::size_t taken = steps.perCallback + moved / bytesPerStep;
    if (taken > steps.left) return PCRE2_ERROR_CALLOUT;
    steps.left -= static_cast<std::uint32_t>(taken);
    return 0;
}

/// Memory of one interpreted match, in KiB. `mostSteps` steps of a pattern with a few groups take 4 MiB.
constexpr std::uint32_t heapLimitKiB = 16 * 1024;
/// Stack of compiled code, in bytes. It is reserved whole, and used as far as a match needs it.
constexpr std::size_t initialStackBytes = 32 * 1024;
constexpr std::size_t largestStackBytes = 1024 * 1024;

template <typename T>
T* allocated(T* object) {
    if (object == nullptr) throw std::bad_alloc();
    return object;
}

/// The memory that a match writes to. Each thread keeps one, because making it costs more than most matches.
struct MatchWorkspace {
    MatchWorkspace() {
        pcre2_set_heap_limit(context, heapLimitKiB);
        pcre2_jit_stack_assign(context, nullptr, stack);
    }
    ~MatchWorkspace() {
        pcre2_match_data_free(data);
        pcre2_match_context_free(context);
        pcre2_jit_stack_free(stack);
    }
    MatchWorkspace(const MatchWorkspace&) = delete;
    MatchWorkspace& operator=(const MatchWorkspace&) = delete;

    pcre2_match_data* data = allocated(pcre2_match_data_create(1, nullptr));
    pcre2_match_context* context = allocated(pcre2_match_context_create(nullptr));
    /// Null if the kernel forbids it; compiled code then uses 32 KiB of the machine stack.
    pcre2_jit_stack* stack = pcre2_jit_stack_create(initialStackBytes, largestStackBytes, nullptr);
};

const MatchWorkspace& threadWorkspace() {
    thread_local const MatchWorkspace workspace;
    return workspace;
}

PCRE2_SPTR codeUnits(std::string_view text) {
    return reinterpret_cast<PCRE2_SPTR>(text.data());
}

struct CompileFault {
    int error = 0;
    std::size_t offset = 0;  ///< in bytes
};

/// The code of a pattern in well-formed UTF-8; null, with the fault, when it is invalid.
pcre2_code* compiledCode(std::string_view pattern, bool caseSensitive, std::uint32_t option,
                         CompileFault& fault) {
    const std::uint32_t caseOption = caseSensitive ? 0 : PCRE2_CASELESS;
    return pcre2_compile(codeUnits(pattern), pattern.size(),
                         PCRE2_UTF | PCRE2_UCP | PCRE2_NEVER_BACKSLASH_C | caseOption | option, &fault.error,
                         &fault.offset, nullptr);
}

bool isGivenUp(int result) {
    return result < 0 && result != PCRE2_ERROR_NOMATCH;
}

}  // namespace

struct RegularExpression::Code {
    /// Compiled code, or none.
    class Matcher {
    public:
        explicit Matcher(pcre2_code* code) : code_(code) {
            // Refused under kernels that forbid writable code, and by the pattern itself through "(*NO_JIT)".
            std::size_t machineCodeBytes = 0;
            isMachineCode_ = code != nullptr && pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) == 0 &&
                             pcre2_pattern_info(code, PCRE2_INFO_JITSIZE, &machineCodeBytes) == 0 &&
                             machineCodeBytes > 0;
            std::uint32_t options = 0;
            isAnchored_ = code != nullptr && pcre2_pattern_info(code, PCRE2_INFO_ALLOPTIONS, &options) == 0 &&
                          (options & PCRE2_ANCHORED) != 0;
        }
        ~Matcher() { pcre2_code_free(code_); }
        Matcher(const Matcher&) = delete;
        Matcher& operator=(const Matcher&) = delete;

        bool isMachineCode() const { return isMachineCode_; }

        /// Most patterns need fewer steps than the text has bytes. The fewer positions a text has, the more
        /// steps each may take.
        std::uint32_t limitFromOnePosition(std::size_t textSize) const {
            constexpr std::size_t most = RegularExpression::mostSteps;
            const std::size_t positions = isAnchored_ ? 1 : textSize + 1;
            const std::size_t steps = isMachineCode_ ? std::max(100 + 8 * textSize, 2 * most / positions)
                                                     : std::max(75 + 2 * textSize, most / 2 / positions);
            return static_cast<std::uint32_t>(std::min(steps, most));
        }

        /// Returns the library's result. The limit applies to each starting position. Without code the match
        /// is abandoned at once.
        int match(std::string_view validText, std::uint32_t limit, StepCount* steps) const {
            if (code_ == nullptr) return PCRE2_ERROR_CALLOUT;
            const MatchWorkspace& workspace = threadWorkspace();
            pcre2_set_match_limit(workspace.context, limit);
            pcre2_set_depth_limit(workspace.context, limit);
            pcre2_set_callout(workspace.context, steps == nullptr ? nullptr : countCallback, steps);
            // The fast entry checks nothing: options, text and the kind of code are known here.
            const auto run = isMachineCode_ ? pcre2_jit_match : pcre2_match;
            return run(code_, codeUnits(validText), validText.size(), 0, PCRE2_NO_UTF_CHECK, workspace.data,
                       workspace.context);
        }

    private:
        pcre2_code* code_;
        bool isMachineCode_;
        bool isAnchored_;
    };

    Code(pcre2_code* fastCode, pcre2_code* countingCode) : fast(fastCode), counting(countingCode) {}

    bool foundIn(std::string_view validText, std::uint32_t limit) const {
        int result = PCRE2_ERROR_CALLOUT;
        // A lower limit belongs to a pattern of many steps: they are counted from the start.
        if (limit == mostSteps) {
            result = fast.match(validText, fast.limitFromOnePosition(validText.size()), nullptr);
        }
        if (isGivenUp(result)) result = countedMatch(validText, limit);
        if (isGivenUp(result)) ++abandoned;
        return result >= 0;
    }

    /// Runs a match and subtracts its steps from `steps`.
    int countedMatch(std::string_view validText, std::uint32_t& steps) const {
        StepCount count{.left = steps, .perCallback = counting.isMachineCode() ? 1U : 4U};
        const int result = counting.match(validText, mostSteps, &count);
        steps = count.left;
        return result;
    }

    Matcher fast;
    Matcher counting;  ///< none when its larger code would be too large
    mutable std::atomic<std::int64_t> abandoned = 0;
};

RegularExpression::RegularExpression(std::shared_ptr<const Code> code) : code_(std::move(code)) {}

std::optional<RegularExpression> RegularExpression::compile(std::string_view pattern, bool caseSensitive) {
    CompileFault fault;
    const std::string repaired = repairUtf8(pattern);
    pcre2_code* fast = compiledCode(repaired, caseSensitive, 0, fault);
    if (fast == nullptr) return std::nullopt;
    pcre2_code* counting = compiledCode(repaired, caseSensitive, PCRE2_AUTO_CALLOUT, fault);
    return RegularExpression(std::make_shared<const Code>(fast, counting));
}

std::optional<std::string> RegularExpression::fault(std::string_view pattern) {
    const std::string repaired = repairUtf8(pattern);
    CompileFault fault;
    if (pcre2_code* compiled = compiledCode(repaired, true, 0, fault)) {
        pcre2_code_free(compiled);
        return std::nullopt;
    }
    constexpr std::size_t longestMessage = 256;
    std::string message(longestMessage, '\0');
    const int length =
        pcre2_get_error_message(fault.error, reinterpret_cast<PCRE2_UCHAR*>(message.data()), message.size());
    message.resize(static_cast<std::size_t>(std::max(0, length)));
    const auto before = std::string_view(repaired).substr(0, fault.offset);
    const auto characters = std::ranges::count_if(before, [](char c) { return (c & 0xC0) != 0x80; });
    return fmt::format("{} (at character {})", message, characters + 1);
}

std::string RegularExpression::escapedPattern(std::string_view text) {
    std::string pattern;
    pattern.reserve(text.size() * 2);
    for (const char c : text) {
        // A backslash makes every ASCII character literal that is neither a letter nor a digit.
        const auto byte = static_cast<std::uint8_t>(c);
        const bool isDigit = c >= '0' && c <= '9';
        if (byte < 128 && !isAsciiLetter(byte) && !isDigit) pattern += '\\';
        pattern += c;
    }
    return pattern;
}

bool RegularExpression::foundIn(std::string_view text, std::uint32_t limit) const {
    return isValidUtf8(text) ? code_->foundIn(text, limit) : code_->foundIn(repairUtf8(text), limit);
}

std::uint32_t RegularExpression::stepsFor(std::string_view text) const {
    std::uint32_t left = mostSteps;
    const bool isGivenUp = dovra::isGivenUp(code_->countedMatch(repairUtf8(text), left));
    return isGivenUp ? mostSteps : mostSteps - left;
}

std::optional<TextRange> RegularExpression::firstRange(std::string_view text) const {
    if (!isValidUtf8(text) || !code_->foundIn(text, mostSteps)) return std::nullopt;
    const PCRE2_SIZE* range = pcre2_get_ovector_pointer(threadWorkspace().data);
    // "\K" in a lookahead may put the start behind the end.
    return TextRange{std::min(range[0], range[1]), range[1]};
}

std::int64_t RegularExpression::abandonedMatches() const {
    return code_->abandoned;
}

}  // namespace dovra
