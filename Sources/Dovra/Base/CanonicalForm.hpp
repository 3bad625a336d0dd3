#pragma once

#include <string_view>
#include <vector>

namespace dovra {

/// Converts text to the form in which canonically equivalent texts are equal: NFD(text), or with case folding
/// NFD(fold(NFD(text))), canonical caseless matching (definition D145 of the Unicode Standard). Depends on no
/// language. One object serves one thread.
class CanonicalForm {
public:
    /// The form of a text as UTF-16, valid until the next call. Ill-formed parts are repaired first. The
    /// memory is reused, so nothing is allocated in the long run. Linear in the length of the text, except
    /// for long runs of accents without a letter, which are sorted.
    std::u16string_view of(std::string_view utf8, bool foldCase);

private:
    std::vector<char16_t> units_;
};

}  // namespace dovra
