// Page 0: format, sort order, code page, password, page key, and the mask that
// every security id of the file is stored under.
#pragma once

#include <string>
#include <string_view>

#include "jet/base/types.h"
#include "jet/base/value.h"

namespace jet {

inline constexpr std::size_t kMaxPasswordChars = 20;

// What the commit slots of page 0 say: kWriting, a program died in the middle of
// a write; kSuspect, one met a damaged page.
enum class CommitMark { kIdle, kWriting, kSuspect };

class Header {
 public:
  // Throws kNotJet4 with what the file seems to be instead. `page` may be
  // shorter than a page.
  static Header Parse(ByteView page);

  SortOrder order() const { return order_; }
  std::uint16_t code_page() const { return code_page_; }
  std::uint32_t page_key() const { return page_key_; }
  std::uint32_t engine_build() const { return engine_build_; }
  DateTime created() const { return created_; }
  bool has_password() const { return !password_.empty(); }
  // Case matters; a file without a password accepts any.
  bool Accepts(std::string_view password) const;
  CommitMark mark() const { return mark_; }

  // Security ids: stored = plain XOR this stream; the same call both ways.
  Bytes MaskSid(ByteView sid) const;

  // Another password in the page; every stored security id must be re-masked in
  // the same flush.
  static void PutPassword(PageSpan page, std::string_view password);

  struct NewFile {
    SortOrder order = kJapanese;
    std::uint16_t code_page = 932;
    std::string password;
    DateTime created;
    std::uint32_t engine_build = 0;  // 0: the one that new files get
  };
  static void Init(PageSpan page, const NewFile& file);

 private:
  Bytes unmasked_;  // 0x18..0x97
  SortOrder order_;
  std::uint16_t code_page_ = 0;
  std::uint32_t page_key_ = 0;
  std::uint32_t engine_build_ = 0;
  DateTime created_;
  std::u16string password_;
  CommitMark mark_ = CommitMark::kIdle;
};

// The cipher of header, pages and security ids.
class Rc4 {
 public:
  explicit Rc4(ByteView key);
  std::uint8_t Next();
  void Apply(std::span<std::uint8_t> bytes);

 private:
  std::uint8_t state_[256];
  std::uint8_t i_ = 0, j_ = 0;
};

}  // namespace jet
