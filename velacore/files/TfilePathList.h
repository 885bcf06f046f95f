// TfilePathList: an ordered list of paths, filled one by one or from a wildcard pattern.
//
//   TfilePathList scenes;
//   scenes.addByPattern("/projects/ship/scenes/*.vela");   // every match, in name order
//   scenes.addLast(Tstring("$HOME/extra.vela"));          // expanded like any TfilePath
//   unsigned at;
//   if (scenes.find(Tstring("/projects/ship/scenes/hull.vela"), at) == 0) use(scenes[at]);
//
// The elements are TfilePath values: adding never throws for a path that does not exist (it
// keeps its expanded text), and find compares with TfilePath::operator==, so two spellings of
// one existing file match.
//
// Hazards: find asks the file system for every element it compares, so it costs a few system
// calls per element; it turns any failure into -1. Not locked (an array).
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/files/TfilePath.h>

class VELACORE_API TfilePathList : public TfilePathArray {
 public:
  TfilePathList() = default;
  TfilePathList(const TfilePathList&) = default;
  TfilePathList& operator=(const TfilePathList&) = default;
  ~TfilePathList() override;

  /// Appends a TfilePath set from `path` (expanded, made absolute when it exists).
  void addLast(const Tstring& path);
  /// Appends a TfilePath set from `path`'s full name.
  void addLast(const TfilePath& path);
  /// Appends every entry of the pattern's folder whose name matches its last element ("*", "?",
  /// "[...]"), "." and ".." left out, in name order; folders get a "/" behind their name before
  /// they are set. A pattern that matches nothing adds nothing.
  void addByPattern(const Tstring& pattern);

  /// 0 when an element equals `path`, with `index` at the first such element; -1 otherwise
  /// (`index` is then the element count), also when the search fails.
  int find(const Tstring& path, unsigned& index) const;
  int find(const TfilePath& path, unsigned& index) const;
  int find(const Tstring& path) const;
  int find(const TfilePath& path) const;
};
