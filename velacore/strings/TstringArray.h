// TstringArray: an array of Tstring.
//
//   TstringArray parts;
//   Tstring("a,b,,c").split(',', parts);   // "a", "b", "c"
//   for (unsigned i = 0; i < parts.length(); ++i) use(parts[i]);
//
// Elements are shared strings: adding one costs an atomic increment, destroying the array
// releases each element.
//
// Until the object-array template of the containers area is available this is a small
// stand-alone array with the same element interface.
#pragma once

#include <velacore/strings/Tstring.h>

#include <vector>

class TstringArray {
 public:
  TstringArray() = default;

  /// Number of elements.
  [[nodiscard]] unsigned length() const { return static_cast<unsigned>(fItems.size()); }
  [[nodiscard]] bool isEmpty() const { return fItems.empty(); }
  [[nodiscard]] const Tstring& operator[](unsigned i) const { return fItems[i]; }
  [[nodiscard]] Tstring& operator[](unsigned i) { return fItems[i]; }

  /// Appends `s`; returns 0.
  int addLast(const Tstring& s) {
    fItems.push_back(s);
    return 0;
  }
  /// Inserts `s` before position `i` (at the end when `i` is past it); returns 0.
  int insert(const Tstring& s, unsigned i) {
    fItems.insert(fItems.begin() + (i > fItems.size() ? fItems.size() : i), s);
    return 0;
  }
  /// Removes the element at `i`; returns 0, or -1 when `i` is out of range.
  int remove(unsigned i) {
    if (i >= fItems.size()) return -1;
    fItems.erase(fItems.begin() + i);
    return 0;
  }
  /// Position of the first element equal to `s`, or -1.
  [[nodiscard]] int find(const Tstring& s) const {
    for (std::size_t i = 0; i < fItems.size(); ++i)
      if (fItems[i] == s) return static_cast<int>(i);
    return -1;
  }
  /// Appends every element of `other`.
  int catenate(const TstringArray& other) {
    fItems.insert(fItems.end(), other.fItems.begin(), other.fItems.end());
    return 0;
  }
  /// Replaces the contents by those of `other`.
  int copy(const TstringArray& other) {
    fItems = other.fItems;
    return 0;
  }
  /// Removes every element.
  void reset() { fItems.clear(); }

 private:
  std::vector<Tstring> fItems;
};
