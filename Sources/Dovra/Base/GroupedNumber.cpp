#include "Base/GroupedNumber.hpp"

#include <fmt/format.h>
#include <stdexcept>

namespace dovra {

namespace {

class Commas : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

}  // namespace

std::locale userLocale() {
    try {
        return std::locale("");
    } catch (const std::runtime_error&) {
        return std::locale::classic();
    }
}

std::string groupedNumber(std::int64_t number, const std::locale& locale) {
    const bool groups = !std::use_facet<std::numpunct<char>>(locale).grouping().empty();
    return fmt::format(groups ? locale : std::locale(locale, new Commas), "{:L}", number);
}

}  // namespace dovra
