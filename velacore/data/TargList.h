// TargList: the words of a value's text form, as readers of text scene files hand them over.
//
//   TargList args("3 1.5 2 -4");
//   unsigned at = 0;
//   TdataDoubleArray letter;
//   letter.readASCII(args, at, 0);      // reads "3 1.5 2 -4"; `at` is 4 afterwards
//
// Words are separated by blanks (spaces, tabs, line ends); a word may be quoted with double
// quotes to contain blanks.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

#include <cstdint>

class VELACORE_API TargList {
 public:
  TargList() = default;
  /// The words of `text`.
  explicit TargList(const char* text);

  void add(const Tstring& word) { fWords.addLast(word); }
  [[nodiscard]] unsigned count() const { return fWords.size(); }
  [[nodiscard]] const Tstring& operator[](unsigned i) const { return fWords[i]; }

  /// @name Reading one word (false when `index` is past the end or the word is not a number;
  /// `index` advances only on success)
  /// @{
  bool readDouble(unsigned& index, double& out) const;
  bool readInt64(unsigned& index, std::int64_t& out) const;
  bool readUInt64(unsigned& index, std::uint64_t& out) const;
  /// A count of elements that must fit in what is left of the list.
  bool readCount(unsigned& index, std::uint32_t& out) const;
  /// @}

 private:
  TstringArray fWords;
};
