#define PCRE2_CODE_UNIT_WIDTH 8

#include "Query/RegularExpression.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
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

// A pattern can ask for more steps than the universe has time for, at every name. So a match may take a
// number of backtracking steps (from each of its starting positions) that ordinary patterns stay below: most
// of them need fewer than the text has bytes. Those that try many ways to divide a text, such as
// `^.*[aeiou].*\d.*\d$`, need thousands for a name. That is well while few names do: such a name gets a
// second try, until all of these together have taken their time. Then a pattern without end, as `(a+)+$`,
// `(x+x+)+y` or `(.*)*\d$`, costs about 1 µs for a name of 20 bytes, 10 µs where it is interpreted.

/// Steps of the second try: at most 85 µs for endless patterns, 0.4 ms for slow but finite ones.
constexpr std::uint32_t matchLimit = 25'000;
constexpr std::chrono::nanoseconds secondTryTime = std::chrono::milliseconds(400);

std::uint32_t firstLimit(std::size_t textSize, bool isMachineCode) {
    const std::size_t steps = isMachineCode ? 100 + 8 * textSize : 75 + 2 * textSize;
    return static_cast<std::uint32_t>(std::min<std::size_t>(steps, matchLimit));
}

/// Memory of one interpreted match, in KiB. `matchLimit` steps of a pattern with a few groups take 4 MiB.
constexpr std::uint32_t heapLimitKiB = 16 * 1024;
/// Stack of compiled code, in bytes; reserved whole, used as far as a match goes.
constexpr std::size_t initialStackBytes = 32 * 1024;
constexpr std::size_t largestStackBytes = 1024 * 1024;

template <typename T>
T* allocated(T* object) {
    if (object == nullptr) throw std::bad_alloc();
    return object;
}

/// What a match writes to. One a thread, kept: making it costs more than most matches.
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
    /// Without one (the kernel may forbid it) compiled code uses 32 KiB of the machine stack.
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

/// Null, and why, when the pattern, well-formed UTF-8, is no valid one.
pcre2_code* compiledCode(std::string_view pattern, bool caseSensitive, CompileFault& fault) {
    const std::uint32_t caseOption = caseSensitive ? 0 : PCRE2_CASELESS;
    return pcre2_compile(codeUnits(pattern), pattern.size(),
                         PCRE2_UTF | PCRE2_UCP | PCRE2_NEVER_BACKSLASH_C | caseOption, &fault.error,
                         &fault.offset, nullptr);
}

}  // namespace

struct RegularExpression::Code {
    explicit Code(pcre2_code* compiled) : expression(compiled) {
        // Refused under kernels that forbid writable code, and by the pattern itself through "(*NO_JIT)".
        std::size_t machineCodeBytes = 0;
        isMachineCode = pcre2_jit_compile(compiled, PCRE2_JIT_COMPLETE) == 0 &&
                        pcre2_pattern_info(compiled, PCRE2_INFO_JITSIZE, &machineCodeBytes) == 0 &&
                        machineCodeBytes > 0;
    }
    ~Code() { pcre2_code_free(expression); }
    Code(const Code&) = delete;
    Code& operator=(const Code&) = delete;

    bool foundIn(std::string_view validText) const {
        const std::uint32_t limit = firstLimit(validText.size(), isMachineCode);
        int result = match(validText, limit);
        if (!isAbandoned(result)) return result >= 0;
        if (limit < matchLimit && secondTryTimeLeft > 0) {
            const auto start = std::chrono::steady_clock::now();
            result = match(validText, matchLimit);
            secondTryTimeLeft -= std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
        }
        if (isAbandoned(result)) ++abandoned;
        return result >= 0;
    }

    int match(std::string_view validText, std::uint32_t limit) const {
        const MatchWorkspace& workspace = threadWorkspace();
        pcre2_set_match_limit(workspace.context, limit);
        pcre2_set_depth_limit(workspace.context, limit);
        // The fast entry checks nothing: options, text and the kind of code are known here.
        const auto run = isMachineCode ? pcre2_jit_match : pcre2_match;
        return run(expression, codeUnits(validText), validText.size(), 0, PCRE2_NO_UTF_CHECK, workspace.data,
                   workspace.context);
    }

    static bool isAbandoned(int result) { return result < 0 && result != PCRE2_ERROR_NOMATCH; }

    pcre2_code* expression;
    bool isMachineCode;
    mutable std::atomic<std::int64_t> secondTryTimeLeft = secondTryTime.count();
    mutable std::atomic<std::int64_t> abandoned = 0;
};

RegularExpression::RegularExpression(std::shared_ptr<const Code> code) : code_(std::move(code)) {}

std::optional<RegularExpression> RegularExpression::compile(std::string_view pattern, bool caseSensitive) {
    CompileFault fault;
    pcre2_code* compiled = compiledCode(repairUtf8(pattern), caseSensitive, fault);
    if (compiled == nullptr) return std::nullopt;
    return RegularExpression(std::make_shared<const Code>(compiled));
}

std::optional<std::string> RegularExpression::fault(std::string_view pattern) {
    const std::string repaired = repairUtf8(pattern);
    CompileFault fault;
    if (pcre2_code* compiled = compiledCode(repaired, true, fault)) {
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

bool RegularExpression::foundIn(std::string_view text) const {
    return isValidUtf8(text) ? code_->foundIn(text) : code_->foundIn(repairUtf8(text));
}

std::optional<TextRange> RegularExpression::firstRange(std::string_view text) const {
    if (!isValidUtf8(text) || !code_->foundIn(text)) return std::nullopt;
    const PCRE2_SIZE* range = pcre2_get_ovector_pointer(threadWorkspace().data);
    // "\K" in a lookahead may put the start behind the end.
    return TextRange{std::min(range[0], range[1]), range[1]};
}

std::int64_t RegularExpression::abandonedMatches() const {
    return code_->abandoned;
}

}  // namespace dovra
