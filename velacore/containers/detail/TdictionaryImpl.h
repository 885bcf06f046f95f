// The skip-list algorithms of Tdictionary, written once over an Ops type:
//   static constexpr bool kPureCompare   // compare() has no side effects: may run ahead
//   int compare(TdictionaryNode* node, TdictionaryNode& probe) const   // node's key vs probe's
//   TdictionaryNode*& fwd(TdictionaryNode* node, int level) const     // also for the header
//   TdictionaryNode* clone(TdictionaryNode& probe, int level) const
//   void destroy(TdictionaryNode* node) const
// Included at the end of Tdictionary.h, and installed with it; not to be included on its own.
#pragma once

// Walks from `x` at level `from` down to level 0: along each level while the next node is
// smaller than the probe, recording where each level stopped in update[]. A next node that is
// the one where a level above stopped (`stop`) is known not to be smaller and is not compared
// again. Returns the level-0 successor of the last predecessor, with `equal` telling whether it
// equals the probe.
//
// Ops whose comparison has no side effects (`Ops::kPureCompare`) take a faster walk with the
// same path: every step also compares the node's successor one level down. Both links sit in
// the node just reached, so the two keys load side by side; when the level stops there, the
// lower level's first comparison is already made, instead of waiting for a load that starts only
// then. Each level's descent thus costs no memory round trip of its own.
template <class Ops>
TdictionaryNode* Tdictionary::descend(const Ops& ops, TdictionaryNode& probe, TdictionaryNode* x,
                                      int from, TdictionaryNode* stop, int stopCompare,
                                      TdictionaryNode** update, bool& equal) {
  if constexpr (Ops::kPureCompare) {
    if (from < 0) {
      equal = false;
      return nullptr;
    }
    // A missing node counts as not smaller (1); `next` and `c` are the current level's.
    auto compareTo = [&](TdictionaryNode* node) {
      if (node == nullptr) return 1;
      return node == stop ? stopCompare : ops.compare(node, probe);
    };
    TdictionaryNode* next = ops.fwd(x, from);
    int c = compareTo(next);
    for (int level = from;; --level) {
      if (level == 0) {
        while (c < 0) {
          x = next;
          next = ops.fwd(x, 0);
          c = next == nullptr ? 1 : ops.compare(next, probe);
        }
        update[0] = x;
        equal = next != nullptr && c == 0;
        return next;
      }
      TdictionaryNode* down = ops.fwd(x, level - 1);
      int cDown = down == next ? c : compareTo(down);
      while (c < 0) {
        x = next;
        next = ops.fwd(x, level);
        down = ops.fwd(x, level - 1);
        c = next == nullptr ? 1 : ops.compare(next, probe);
        cDown = down == next ? c : down == nullptr ? 1 : ops.compare(down, probe);
      }
      update[level] = x;
      stop = next;
      stopCompare = c;
      next = down;
      c = cDown;
    }
  } else {
    for (int level = from; level >= 0; --level) {
      for (;;) {
        TdictionaryNode* next = ops.fwd(x, level);
        if (next == nullptr || next == stop) break;
        const int c = ops.compare(next, probe);
        if (c < 0) {
          x = next;
          continue;
        }
        stop = next;
        stopCompare = c;
        break;
      }
      update[level] = x;
    }
    TdictionaryNode* candidate = from >= 0 ? ops.fwd(x, 0) : nullptr;
    if (candidate == nullptr) {
      equal = false;
      return nullptr;
    }
    equal = candidate == stop ? stopCompare == 0 : ops.compare(candidate, probe) == 0;
    return candidate;
  }
}

// The usual case of a bookmark, kept small enough to inline into its callers: the probe lies
// right after the bookmark's level-0 node, or one node further (the next key of an ascending
// run, or the node the last bookmarked insertion linked). Then there is nothing to walk: in the
// second case `next` becomes the predecessor on every level where it follows the bookmark's
// node, and the bookmark's nodes stay right above those. Answers false, with nothing set, in
// every other case (findPath's). On true, `found` is the level-0 successor of the predecessor.
template <class Ops>
bool Tdictionary::nearPath(const Ops& ops, TdictionaryNode& probe, Tbookmark* bookmark,
                           TdictionaryNode** update, int& kept, bool& equal,
                           TdictionaryNode*& found) {
  if (bookmark == nullptr || fLevel == 0) return false;
  TdictionaryNode* const* marks = bookmark->fNodes;
  const int top = fLevel - 1;
  TdictionaryNode* const mark0 = marks[0];
  if (mark0 == nullptr || marks[top] == nullptr) return false;
  if (mark0 != this && ops.compare(mark0, probe) >= 0) return false;
  TdictionaryNode* next = ops.fwd(mark0, 0);
  int c = 1;
  if (next == nullptr || (c = ops.compare(next, probe)) >= 0) {
    update[0] = mark0;
    kept = 1;
    equal = c == 0;
    found = next;
    return true;
  }
  TdictionaryNode* after = ops.fwd(next, 0);
  c = 1;
  if (after != nullptr && (c = ops.compare(after, probe)) < 0) return false;
  update[0] = next;
  int level = 1;
  while (level <= top && ops.fwd(marks[level], level) == next) update[level++] = next;
  kept = level;
  equal = c == 0;
  found = after;
  return true;
}

// Finds the probe's predecessors. Without a bookmark (or with an empty one) the walk starts at
// the header on the top level and fills update[0 .. fLevel-1]. With one, it starts from the
// bookmark's nodes: the header counts as smaller than every key.
// - Its level-0 node is smaller than the probe: climb while the node after the bookmark's node
//   at that level is still smaller (the probe lies further on), and walk from the bookmark's
//   node where the climb stopped; the levels above it are still right. (Callers try nearPath
//   first for the probes right after the bookmark.)
// - Otherwise the probe lies behind the bookmark: the first level whose bookmark node is
//   smaller than the probe is right as it is, with every level above it; walk from its node.
// The levels from `kept` up are the bookmark's own nodes, which update[] does not repeat.
template <class Ops>
TdictionaryNode* Tdictionary::findPath(const Ops& ops, TdictionaryNode& probe,
                                       Tbookmark* bookmark, TdictionaryNode** update, int& kept,
                                       bool& equal) {
  const int top = fLevel - 1;
  kept = fLevel;
  TdictionaryNode* const* marks = bookmark != nullptr ? bookmark->fNodes : nullptr;
  // A bookmark filled before the list grew a level does not know the new levels.
  if (marks == nullptr || top < 0 || marks[0] == nullptr || marks[top] == nullptr)
    return descend(ops, probe, this, top, nullptr, 1, update, equal);

  TdictionaryNode* const mark0 = marks[0];
  if (mark0 == this || ops.compare(mark0, probe) < 0) {
    int start = 0;
    TdictionaryNode* stop = nullptr;
    int stopCompare = 1;
    for (; start <= top; ++start) {
      TdictionaryNode* next = ops.fwd(marks[start], start);
      if (next == nullptr) break;
      const int c = ops.compare(next, probe);
      if (c >= 0) {
        stop = next;
        stopCompare = c;
        break;
      }
    }
    if (start > top) start = top;
    kept = start + 1;
    return descend(ops, probe, marks[start], start, stop, stopCompare, update, equal);
  }
  int start = 1;
  while (start <= top && marks[start] != this && ops.compare(marks[start], probe) >= 0) ++start;
  if (start > top) return descend(ops, probe, this, top, nullptr, 1, update, equal);
  kept = start;
  return descend(ops, probe, marks[start], start - 1, nullptr, 1, update, equal);
}

// findPath, then the bookmark (if any) takes the predecessors it did not already hold.
template <class Ops>
TdictionaryNode* Tdictionary::markedPath(const Ops& ops, TdictionaryNode& probe,
                                         Tbookmark* bookmark, TdictionaryNode** update,
                                         bool& equal) {
  int kept;
  TdictionaryNode* candidate;
  if (!nearPath(ops, probe, bookmark, update, kept, equal, candidate))
    candidate = findPath(ops, probe, bookmark, update, kept, equal);
  if (bookmark != nullptr)
    for (int level = 0; level < kept; ++level) bookmark->fNodes[level] = update[level];
  return candidate;
}

template <class Ops>
TdictionaryNode* Tdictionary::searchWith(const Ops& ops, TdictionaryNode& probe,
                                         Tbookmark* bookmark) {
  TdictionaryNode* update[kMaxLevel];
  bool equal;
  TdictionaryNode* candidate = markedPath(ops, probe, bookmark, update, equal);
  return equal ? candidate : nullptr;
}

template <class Ops>
TdictionaryNode* Tdictionary::floorWith(const Ops& ops, TdictionaryNode& probe,
                                        Tbookmark* bookmark) {
  if (fLevel == 0) return nullptr;
  TdictionaryNode* update[kMaxLevel];
  bool equal;
  TdictionaryNode* candidate = markedPath(ops, probe, bookmark, update, equal);
  if (equal) return candidate;
  return update[0] == this ? nullptr : update[0];
}

template <class Ops>
TdictionaryNode* Tdictionary::insertWith(const Ops& ops, TdictionaryNode& probe,
                                         Tbookmark* bookmark) {
  TdictionaryNode* update[kMaxLevel];
  int kept;
  bool equal;
  TdictionaryNode* found;
  if (!nearPath(ops, probe, bookmark, update, kept, equal, found))
    findPath(ops, probe, bookmark, update, kept, equal);
  const int level = randomLevel();
  // Levels kept from the bookmark are right unless something was inserted there without it:
  // take the ones the new node joins, and search afresh if one is out of date.
  for (int l = kept; l < level && l < fLevel; ++l) {
    TdictionaryNode* mark = bookmark->fNodes[l];
    TdictionaryNode* next = ops.fwd(mark, l);
    if (next != nullptr && ops.compare(next, probe) < 0) {
      findPath(ops, probe, nullptr, update, kept, equal);
      kept = fLevel;
      break;
    }
    update[l] = mark;
  }
  if (level > fLevel) {
    for (int l = fLevel; l < level; ++l) update[l] = this;
    fLevel = level;
  }
  TdictionaryNode* node = ops.clone(probe, level);
  for (int l = 0; l < level; ++l) {
    TdictionaryNode*& link = ops.fwd(update[l], l);
    ops.fwd(node, l) = link;
    link = node;
  }
  if (bookmark != nullptr) {
    const int filled = kept > level ? kept : level;
    for (int l = 0; l < filled; ++l) bookmark->fNodes[l] = update[l];
  }
  return node;
}

template <class Ops>
bool Tdictionary::removeWith(const Ops& ops, TdictionaryNode& probe) {
  TdictionaryNode* update[kMaxLevel];
  int kept;
  bool equal;
  TdictionaryNode* node = findPath(ops, probe, nullptr, update, kept, equal);
  if (!equal) return false;
  for (int l = 0; l < fLevel; ++l) {
    TdictionaryNode*& link = ops.fwd(update[l], l);
    if (link != node) break;
    link = ops.fwd(node, l);
  }
  ops.destroy(node);
  while (fLevel > 0 && fForward[fLevel - 1] == nullptr) --fLevel;
  return true;
}
