#pragma once

#include <string_view>
#include <vector>

namespace dovra {

/// Brings text into the form in which texts are equal when Unicode calls them canonically equivalent:
/// NFD(text), or with case folding NFD(fold(NFD(text))), canonical caseless matching (definition D145 of the
/// Unicode Standard). Depends on no language. One object serves one thread.
class CanonicalForm {
public:
    /// The form of a text, ill-formed parts of which are repaired first, as UTF-16; valid until the next
    /// call. Keeps its memory, so that nothing is allocated in the long run. Linear in the length of the
    /// text, but for long runs of accents without a letter, which are sorted.
    std::u16string_view of(std::string_view utf8, bool foldCase);

private:
    std::vector<char16_t> units_;
};

}  // namespace dovra
