#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Base/Utf8.hpp"
#include "Fuzz/FuzzCheck.hpp"
#include "Stores/FrecencyStore.hpp"
#include "Stores/SavedSearchStore.hpp"

// Whatever stands in a store's file, reading it ends, and what was understood is the same after it was
// written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace dovra;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (const auto frecency = FrecencyTable::decode(bytes)) {
        const auto again = FrecencyTable::decode(frecency->table.encode());
        fuzzCheck(again && again->isWhole, "all of a written table is read");
        fuzzCheck(again->table == frecency->table, "opens survive a save");
        for (const auto& [path, boost] : frecency->table.boosts(0))
            fuzzCheck(boost > 0 && boost <= RankingBoost::largest, "boosts keep their range");
    }
    if (const auto searches = SavedSearchTable::decode(bytes)) {
        const auto again = SavedSearchTable::decode(searches->table.encode());
        fuzzCheck(again && again->isWhole, "all of a written list is read");
        fuzzCheck(again->table.items() == searches->table.items(), "saved searches survive a save");
        for (const auto& [name, query] : searches->table.items())
            fuzzCheck(searches->table.query(name) == query, "names are unique");
    }
    const std::string text = textFromBytes(bytes);
    fuzzCheck(isValidUtf8(text) && bytesFromText(text) == bytes, "any bytes survive as text");
    return 0;
}
