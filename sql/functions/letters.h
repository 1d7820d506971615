// Letters in their other forms: case, width, kind of kana.
#pragma once

#include <string>

namespace sql {

std::u16string UpperCase(std::u16string text);
std::u16string LowerCase(std::u16string text);
// The first letter of each word large, the others small.
std::u16string ProperCase(std::u16string text);
// Half to full width; a voiced mark joins the kana before it.
std::u16string Wide(const std::u16string& text);
// Full to half width, where there is such a form.
std::u16string Narrow16(const std::u16string& text);
std::u16string Katakana(std::u16string text);
std::u16string Hiragana(std::u16string text);

}  // namespace sql
