#include "Desktop/Model/LaunchOptions.hpp"

#include <charconv>
#include <fmt/format.h>
#include <system_error>

namespace dovra {

namespace {

/// The whole text as a number from `least` to `most`.
template <typename Number>
std::optional<Number> parseNumber(std::string_view text, Number least, Number most) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc{} && end == text.data() + text.size();
    return isWhole && number >= least && number <= most ? std::optional(number) : std::nullopt;
}

/// Such as "760x560".
std::optional<PanelSize> parseSize(std::string_view text) {
    constexpr int most = 8192;
    const std::size_t cross = text.find('x');
    if (cross == std::string_view::npos) return std::nullopt;
    const auto width = parseNumber(text.substr(0, cross), 1, most);
    const auto height = parseNumber(text.substr(cross + 1), 1, most);
    return width && height ? std::optional(PanelSize{*width, *height}) : std::nullopt;
}

std::optional<double> parseScale(std::string_view text) {
    return parseNumber(text, 0.5, 4.0);
}

auto takes(std::optional<std::string>& query) {
    return [&query](const std::string& value) {
        query = value;
        return true;
    };
}

/// The fault of the arguments apart from their words.
std::optional<std::string> faultOf(const ParsedArguments& parsed) {
    if (parsed.fault) return parsed.fault;
    if (parsed.unknownOption) return noSuchOption(*parsed.unknownOption);
    return std::nullopt;
}

std::string uselessWord(std::string_view word) {
    return fmt::format("nothing is known to do with \"{}\"", word);
}

}  // namespace

std::vector<Option> launchOptionTable(LaunchOptions& options) {
    std::vector<Option> table = serviceOptionTable(options.index);
    table.push_back({{"--query"}, "query", "show the panel with this query", takes(options.request.query)});
    table.push_back({{"--toggle"},
                     {},
                     "show the panel of the running program, or hide it: a command for a key of your own",
                     sets(options.request.toggles, true)});
    table.push_back({{"--background"},
                     {},
                     "start without the panel, until its key or a further start calls it",
                     sets(options.request.isQuiet, true)});
    return table;
}

std::optional<std::string> readLaunchOptions(Arguments arguments, LaunchOptions& options) {
    if (!arguments.empty() && arguments.back() == "--query")
        arguments = arguments.first(arguments.size() - 1);
    const ParsedArguments parsed = parseOptions(arguments, launchOptionTable(options));
    if (auto fault = faultOf(parsed)) return fault;
    if (!parsed.others.empty()) return uselessWord(parsed.others.front());
    if (options.request.isQuiet && (options.request.query || options.request.toggles))
        return "--background shows no panel, so --query and --toggle do not go with it";
    return faultOf(options.index);
}

std::vector<Option> snapshotOptionTable(SnapshotOptions& options) {
    std::vector<Option> table = serviceOptionTable(options.index);
    table.push_back({{"--query"}, "query", "draw the panel with this query", [&](const std::string& value) {
                         options.query = value;
                         return true;
                     }});
    table.push_back({{"--preview"},
                     {},
                     "draw the preview of the first row beside the panel",
                     sets(options.hasPreview, true)});
    table.push_back(
        {{"--size"}, "size", "of the panel in points (default: 760x560)", reads(options.size, parseSize)});
    table.push_back({{"--scale"},
                     "number",
                     "of pixels a point, 0.5 to 4 (default: 1)",
                     reads(options.scale, parseScale)});
    table.push_back({{"--early"},
                     {},
                     "draw the first rows that come, while the files are still being indexed",
                     sets(options.isEarly, true)});
    return table;
}

std::optional<std::string> readSnapshotOptions(Arguments arguments, std::string_view appearance,
                                               SnapshotOptions& options) {
    const ParsedArguments parsed = parseOptions(arguments, snapshotOptionTable(options));
    if (auto fault = faultOf(parsed)) return fault;
    if (parsed.others.empty()) return "the file to write is missing";
    if (parsed.others.size() > 1) return uselessWord(parsed.others[1]);
    options.outputPath = parsed.others.front();
    if (appearance == "dark") {
        options.appearance = Appearance::dark;
    } else if (!appearance.empty() && appearance != "light") {
        return fmt::format("DOVRA_APPEARANCE is \"light\" or \"dark\", not \"{}\"", appearance);
    }
    return faultOf(options.index);
}

}  // namespace dovra
