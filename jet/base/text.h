// Text between our UTF-8 and the file's UTF-16, plain and compressed.
//
// Plain: UTF-16, little-endian. Compressed: FF FE, then runs that start in
// one-byte mode; a byte 00 switches between one-byte and two-byte mode.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "jet/base/types.h"

namespace jet {

// Unpaired surrogates, which real files may hold, survive as three-byte
// sequences. ToUtf16 throws kBadText for anything else that is not UTF-8.
std::u16string ToUtf16(std::string_view text);
// The same into a buffer that the caller reuses.
void ToUtf16(std::string_view text, std::u16string& out);
// The same into a buffer with room for text.size() units; how many there are.
std::size_t ToUtf16(std::string_view text, std::span<char16_t> out);
std::string ToUtf8(std::u16string_view text);

// How many units ToUtf16 makes, the measure of every limit in the format. kBadText.
std::size_t Utf16Length(std::string_view text);

// Decodes a stored text, compressed or plain. A trailing odd byte is damage.
std::string DecodeText(ByteView stored);
// The same into a buffer that the caller reuses.
void DecodeText(ByteView stored, std::string& out);
// UTF-16LE without compression.
std::string DecodePlain(ByteView stored);

// When a stored text is compressed.
enum class TextForm {
  kPlain,
  kText,        // a text column with the compression bit
  kInlineMemo,  // a memo value that will stay inside its row
};
Bytes EncodeText(std::u16string_view text, TextForm form);
// The same, appended.
void AddText(std::u16string_view text, TextForm form, Bytes& out);

// UTF-16 with little-endian bytes.
Bytes EncodePlain(std::u16string_view text);
void AddPlain(std::u16string_view text, Bytes& out);

}  // namespace jet
