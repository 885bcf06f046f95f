// Time intervals and periodic ranges: the documented cases, then randomized runs against a plain
// model, a set of ticks.
#include <velacore/time/TperiodicTimeRange.h>

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

namespace {

using Ticks = std::int64_t;
using Model = std::set<Ticks>;
constexpr Ticks kInf = TtimeInterval::kInfinity;

void addTo(Model& m, TtimeInterval i) {
  for (Ticks t = i.start; t < i.end; ++t) m.insert(t);
}

// The ticks of `r` inside `span`, read through expand.
Model ticksOf(const TperiodicTimeRange& r, TtimeInterval span) {
  TtimeIntervalArray pieces;
  EXPECT_TRUE(r.expand(span, pieces));
  Model m;
  Ticks previousEnd = std::numeric_limits<Ticks>::min();
  for (const TtimeInterval& i : pieces) {
    EXPECT_FALSE(i.empty());
    EXPECT_GT(i.start, previousEnd);  // in order, not touching
    previousEnd = i.end;
    addTo(m, i);
  }
  return m;
}

// A periodic range's ticks unrolled independently: every interval shifted by whole periods,
// kept inside the bound.
Model unrolled(const TtimeIntervalArray& cycle, Ticks period, TtimeInterval bound,
               TtimeInterval span) {
  Model m;
  for (Ticks k = -100; k <= 100; ++k) {
    for (const TtimeInterval& i : cycle) {
      addTo(m, i.offseted(k * period).intersection(bound).intersection(span));
    }
  }
  return m;
}

TtimeInterval randomInterval(std::mt19937_64& rng, Ticks lo, Ticks hi, Ticks maxLength) {
  const Ticks s = lo + static_cast<Ticks>(rng() % static_cast<std::uint64_t>(hi - lo));
  return {s, s + static_cast<Ticks>(rng() % static_cast<std::uint64_t>(maxLength + 1))};
}

}  // namespace

TEST(TtimeInterval, FactoriesAndQueries) {
  const auto t = [](Ticks v) { return TanimTime(v); };
  EXPECT_EQ(TtimeInterval::closed(t(5), t(9)), TtimeInterval(5, 10));
  EXPECT_EQ(TtimeInterval::closed(t(5), t(9)).length(), 5);
  EXPECT_EQ(TtimeInterval::open(t(5), t(9)), TtimeInterval(6, 9));
  EXPECT_EQ(TtimeInterval::leftOpen(t(5), t(9)), TtimeInterval(6, 10));
  EXPECT_EQ(TtimeInterval::rightOpen(t(5), t(9)), TtimeInterval(5, 9));
  const Ticks max = std::numeric_limits<Ticks>::max();
  EXPECT_EQ(TtimeInterval::closed(t(5), t(max)).end, max);
  EXPECT_EQ(TtimeInterval::leftOpen(t(5), t(max)).end, max);
  EXPECT_EQ(TtimeInterval(2, 5).reflected(0), TtimeInterval(-4, -1));
  EXPECT_EQ(TtimeInterval(2, 5).offseted(3), TtimeInterval(5, 8));

  TtimeInterval all;
  all.setStartInfinity();
  all.setEndInfinity();
  EXPECT_TRUE(all.universal() && !all.finite() && !all.startFinite());
  EXPECT_TRUE(TtimeInterval(0, kInf).startFinite() && !TtimeInterval(0, kInf).endFinite());
  EXPECT_TRUE(TtimeInterval(3, 3).empty() && TtimeInterval(4, 3).empty());

  // intersect: the other's start or last tick inside, or the other covering this one.
  const TtimeInterval a(10, 20);
  EXPECT_TRUE(a.intersect({15, 30}));
  EXPECT_TRUE(a.intersect({0, 11}));
  EXPECT_FALSE(a.intersect({0, 10}));  // touching shares no tick
  EXPECT_FALSE(a.intersect({20, 30}));
  EXPECT_TRUE(a.intersect({0, 30}));
  EXPECT_FALSE(a.intersect({15, 15}));  // empty
  EXPECT_EQ(a.intersection({15, 30}), TtimeInterval(15, 20));
  EXPECT_TRUE(a.intersection({30, 40}).empty());
  EXPECT_EQ(TtimeInterval::mergeAsUnion(a, {30, 40}), TtimeInterval(10, 40));
  EXPECT_TRUE(a.contains(TtimeInterval(12, 20)) && !a.contains(TtimeInterval(12, 21)));
  EXPECT_TRUE(TtimeInterval(0, 5) < TtimeInterval(5, 8) &&
              TtimeInterval(5, 8) > TtimeInterval(0, 5));
  EXPECT_FALSE(TtimeInterval(0, 6) < TtimeInterval(5, 8));
}

TEST(TperiodicTimeRange, AppendAddAndTheirMerges) {
  TperiodicTimeRange r;
  EXPECT_TRUE(r.append({0, 5}));
  EXPECT_TRUE(r.append({5, 8}));
  ASSERT_EQ(r.intervals().size(), 1u);
  EXPECT_EQ(r.intervals()[0], TtimeInterval(0, 8));
  r.clear();
  r.append({0, 5});
  r.append({6, 8});
  EXPECT_EQ(r.intervals().size(), 2u);
  EXPECT_EQ(r.bound(), TtimeInterval(0, 8));
  // An interval reaching back over several merges with all of them.
  r.append({10, 12});
  EXPECT_TRUE(r.append({4, 11}));
  ASSERT_EQ(r.intervals().size(), 1u);
  EXPECT_EQ(r.intervals()[0], TtimeInterval(0, 12));

  TperiodicTimeRange late;
  late.append({10, 20});
  EXPECT_FALSE(late.append({0, 5}));
  EXPECT_EQ(late.intervals().size(), 1u);
  EXPECT_EQ(late.bound(), TtimeInterval(10, 20));

  const TtimeInterval three[] = {{0, 5}, {8, 10}, {11, 15}};
  TperiodicTimeRange added(three, 3);
  added.add({3, 12});
  ASSERT_EQ(added.intervals().size(), 1u);
  EXPECT_EQ(added.intervals()[0], TtimeInterval(0, 15));
  EXPECT_TRUE(TperiodicTimeRange(TanimTime(5), TanimTime(9)).contains(TanimTime(9)));
  EXPECT_TRUE(TperiodicTimeRange::sInfinity().universal());
  EXPECT_TRUE(TperiodicTimeRange::sEmpty().isEmpty());
}

TEST(TperiodicTimeRange, RandomEditsAgainstATickSet) {
  std::mt19937_64 rng(8);
  const TtimeInterval view(-300, 300);
  for (int run = 0; run < 200; ++run) {
    TperiodicTimeRange r;
    Model model;
    for (int step = 0; step < 40; ++step) {
      const TtimeInterval i = randomInterval(rng, -100, 100, 15);
      switch (rng() % 6) {
        case 0: {  // append: refused exactly when wholly before the last interval
          const bool before = !r.empty() && !i.empty() && r.intervals().last().start > i.end;
          EXPECT_EQ(r.append(i), !before);
          if (!before) addTo(model, i);
          break;
        }
        case 1:
        case 2:
          r.add(i);
          addTo(model, i);
          break;
        case 3: {
          TtimeInterval batch[4];
          for (auto& b : batch) b = randomInterval(rng, -100, 100, 15), addTo(model, b);
          r.addAll(batch, 4);
          break;
        }
        case 4: {
          const TtimeInterval span = randomInterval(rng, -120, 120, 200);
          r.clamp(span);
          Model kept;
          for (Ticks t : model) {
            if (span.contains(t)) kept.insert(t);
          }
          model.swap(kept);
          break;
        }
        case 5: {
          const Ticks d = static_cast<Ticks>(rng() % 21) - 10;
          r.offset(d);
          Model moved;
          for (Ticks t : model) moved.insert(t + d);
          model.swap(moved);
          break;
        }
      }
      ASSERT_TRUE(r.areIntervalsValid()) << r.asStr().asC();
      ASSERT_EQ(ticksOf(r, view), model) << r.asStr().asC();
      if (!model.empty()) {
        EXPECT_EQ(r.bound(), TtimeInterval(*model.begin(), *model.rbegin() + 1));
      }
      const TtimeInterval probe = randomInterval(rng, -150, 150, 12);
      bool all = true, any = false;
      for (Ticks t = probe.start; t < probe.end; ++t) {
        all = all && model.count(t) != 0;
        any = any || model.count(t) != 0;
      }
      EXPECT_EQ(r.contains(probe), all);
      EXPECT_EQ(r.intersects(probe), any);
      EXPECT_EQ(r.contains(TanimTime(probe.start)), model.count(probe.start) != 0);
    }
  }
}

// Long lists: adds that would shift intervals wait and are merged on the next read; every kind of
// read sees them, and copies carry them.
TEST(TperiodicTimeRange, ManyAddsInRandomOrderAgainstATickSet) {
  std::mt19937_64 rng(17);
  TperiodicTimeRange r;
  Model model;
  for (int step = 1; step <= 3000; ++step) {
    const TtimeInterval i = randomInterval(rng, 0, 6000, 6);
    r.add(i);
    addTo(model, i);
    if (step % 97 == 0) {
      const TperiodicTimeRange copy = r;
      ASSERT_TRUE(copy.areIntervalsValid());
      ASSERT_EQ(ticksOf(copy, {-10, 7000}), model);
    } else if (step % 89 == 0) {
      const Ticks t = static_cast<Ticks>(rng() % 6000);
      ASSERT_EQ(r.contains(TanimTime(t)), model.count(t) != 0);
      ASSERT_EQ(r.bound(), TtimeInterval(*model.begin(), *model.rbegin() + 1));
    }
  }
  EXPECT_GT(r.intervals().size(), 100u);
  EXPECT_EQ(ticksOf(r, {-10, 7000}), model);
}

// Reads from several threads of a range with adds still waiting: each settles them safely and
// all see the same ticks.
TEST(TperiodicTimeRange, ConcurrentReadsSettlePendingAdds) {
  for (int round = 0; round < 20; ++round) {
    std::mt19937_64 rng(round);
    TperiodicTimeRange r;
    Model model;
    for (int k = 0; k < 400; ++k) {
      const TtimeInterval i = randomInterval(rng, 0, 4000, 4);
      r.add(i);
      addTo(model, i);
    }
    std::vector<int> wrong(4, 0);
    std::vector<std::thread> threads;
    for (int w = 0; w < 4; ++w) {
      threads.emplace_back([&, w] {
        for (Ticks t = w; t < 4000; t += 37) {
          if (r.contains(TanimTime(t)) != (model.count(t) != 0)) ++wrong[w];
        }
        if (r.intervals().size() == 0) ++wrong[w];
      });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
  }
}

TEST(TperiodicTimeRange, PeriodicRangesAgainstUnrolledTicks) {
  // The documented cycle: [0, 10) of every 24.
  TperiodicTimeRange c(TanimTime(0), TanimTime(9));
  TtimeInterval all;
  all.setStartInfinity();
  all.setEndInfinity();
  ASSERT_TRUE(c.setPeriodic(TanimTime(24), all));
  EXPECT_EQ(c.mapToCycle({30, 31}), TtimeInterval(6, 7));
  EXPECT_EQ(c.mapToCycle({-1, 0}), TtimeInterval(23, 24));
  EXPECT_TRUE(c.contains(TanimTime(30)) && !c.contains(TanimTime(35)));
  EXPECT_EQ(c.mapToCycle(all), all);
  EXPECT_EQ(c.mapToCycle({-kInf, 50}), TtimeInterval(-kInf - 48, 2));
  TtimeIntervalArray pieces;
  EXPECT_FALSE(c.expand(all, pieces));  // no end to unroll
  ASSERT_TRUE(c.expand({5, 60}, pieces));
  ASSERT_EQ(pieces.size(), 3u);
  EXPECT_EQ(pieces[0], TtimeInterval(5, 10));
  EXPECT_EQ(pieces[2], TtimeInterval(48, 58));

  std::mt19937_64 rng(24);
  const TtimeInterval view(-400, 400);
  for (int run = 0; run < 300; ++run) {
    const Ticks period = 5 + static_cast<Ticks>(rng() % 40);
    const Ticks s = static_cast<Ticks>(rng() % 60) - 30;
    TperiodicTimeRange r;
    for (int k = 0; k < 4; ++k) {
      TtimeInterval i = randomInterval(rng, s, s + period, period / 3);
      i.end = std::min(i.end, s + period + 1);
      r.add(i);
    }
    if (r.empty()) continue;
    const TtimeIntervalArray cycle = r.intervals();
    const TtimeInterval bound = randomInterval(rng, -300, 300, 400);
    const bool accepted = r.setPeriodic(TanimTime(period), bound);
    ASSERT_EQ(accepted, cycle.last().end - cycle[0].start <= period + 1);
    if (!accepted) continue;
    ASSERT_TRUE(r.areIntervalsValid()) << r.asStr().asC();
    Model model = unrolled(cycle, period, bound, view);
    {
      const Model got = ticksOf(r, view);
      std::ostringstream diff;
      for (Ticks t : got)
        if (!model.count(t)) diff << " +" << t;
      for (Ticks t : model)
        if (!got.count(t)) diff << " -" << t;
      diff << " period " << period << " bound " << bound.start << "," << bound.end << " cycle";
      for (const auto& i : cycle) diff << " [" << i.start << "," << i.end << ")";
      diff << " now";
      for (const auto& i : r.intervals()) diff << " [" << i.start << "," << i.end << ")";
      ASSERT_EQ(got, model) << diff.str();
    }
    for (Ticks t = -350; t < 350; t += 7) {
      ASSERT_EQ(r.contains(TanimTime(t)), model.count(t) != 0) << t << " " << r.asStr().asC();
      if (r.periodic()) {
        const TtimeInterval m = r.mapToCycle({t, t + 3});
        EXPECT_EQ((m.start - t) % period, 0);
        EXPECT_EQ(m.length(), 3);
        EXPECT_TRUE(m.start >= r.intervals()[0].start && m.start < r.intervals()[0].start + period);
      }
    }
    // contains(interval), clamp and offset on the periodic form.
    const TtimeInterval probe = randomInterval(rng, -300, 300, 20);
    bool every = true;
    for (Ticks t = probe.start; t < probe.end; ++t) every = every && model.count(t) != 0;
    EXPECT_EQ(r.contains(probe), every) << r.asStr().asC();
    TperiodicTimeRange moved = r;
    moved.offset(11);
    Model shifted;
    for (Ticks t : model) shifted.insert(t + 11);
    EXPECT_EQ(ticksOf(moved, {-389, 411}), shifted);
    const TtimeInterval span = randomInterval(rng, -300, 300, 300);
    TperiodicTimeRange clamped = r;
    clamped.clamp(span);
    Model inside;
    for (Ticks t : model) {
      if (span.contains(t)) inside.insert(t);
    }
    EXPECT_EQ(ticksOf(clamped, view), inside);

    // Range against range: inclusion, union and intersection with a second random range.
    TperiodicTimeRange other;
    other.add(randomInterval(rng, -200, 200, 150));
    other.add(randomInterval(rng, -200, 200, 50));
    const Model theirs = ticksOf(other, view);
    bool subset = true;
    for (Ticks t : theirs) subset = subset && model.count(t) != 0;
    EXPECT_EQ(r.contains(other), subset);
    EXPECT_EQ(other.inside(r), subset);
    TperiodicTimeRange both;
    ASSERT_TRUE(r.intersection(other, both));
    Model common;
    for (Ticks t : theirs) {
      if (model.count(t)) common.insert(t);
    }
    EXPECT_EQ(ticksOf(both, view), common);
    TperiodicTimeRange united = r;
    ASSERT_TRUE(united.mergeAsUnion(other));
    Model either = model;
    either.insert(theirs.begin(), theirs.end());
    EXPECT_EQ(ticksOf(united, view), either);
    EXPECT_TRUE(united.areIntervalsValid());
  }
}

TEST(TperiodicTimeRange, ClosingTheCycleAndInfiniteComparisons) {
  TtimeInterval all;
  all.setStartInfinity();
  all.setEndInfinity();
  // A closed interval over the whole period is every tick of the bound.
  TperiodicTimeRange full(TanimTime(0), TanimTime(24));
  ASSERT_TRUE(full.setPeriodic(TanimTime(24), TtimeInterval(-100, 100)));
  EXPECT_FALSE(full.periodic());
  EXPECT_EQ(full.intervals()[0], TtimeInterval(-100, 100));
  // The last interval running into the next cycle joins the first one.
  TperiodicTimeRange join;
  join.add({0, 5});
  join.add({20, 25});
  ASSERT_TRUE(join.setPeriodic(TanimTime(24), all));
  ASSERT_EQ(join.intervals().size(), 1u);
  EXPECT_EQ(join.intervals()[0], TtimeInterval(-4, 5));
  EXPECT_TRUE(join.contains(TanimTime(20)) && join.contains(TanimTime(28)));
  EXPECT_FALSE(join.contains(TanimTime(19)) || join.contains(TanimTime(5)));
  TperiodicTimeRange tooLong;
  tooLong.add({0, 30});
  EXPECT_FALSE(tooLong.setPeriodic(TanimTime(24), all));
  EXPECT_FALSE(tooLong.periodic());
  EXPECT_FALSE(TperiodicTimeRange().setPeriodic(TanimTime(24), all));

  // Inclusion of endless periodic ranges: every 12 ticks inside every 6, not the reverse.
  TperiodicTimeRange six, twelve;
  six.add({0, 2});
  twelve.add({0, 2});
  ASSERT_TRUE(six.setPeriodic(TanimTime(6), all));
  ASSERT_TRUE(twelve.setPeriodic(TanimTime(12), all));
  EXPECT_TRUE(six.contains(twelve));
  EXPECT_FALSE(twelve.contains(six));
  EXPECT_TRUE(twelve.inside(six));
  EXPECT_TRUE(TperiodicTimeRange::sInfinity().contains(six));
  EXPECT_FALSE(six.contains(TperiodicTimeRange::sInfinity()));
  EXPECT_TRUE(six == six && six != twelve);
  // Same period and cycle: the union and intersection stay periodic.
  TperiodicTimeRange later;
  later.add({0, 1});
  later.add({3, 4});
  ASSERT_TRUE(later.setPeriodic(TanimTime(6), all));
  TperiodicTimeRange both;
  ASSERT_TRUE(six.intersection(later, both));
  EXPECT_TRUE(both.periodic());
  EXPECT_TRUE(both.contains(TanimTime(600)) && !both.contains(TanimTime(603)));
  ASSERT_TRUE(later.mergeAsUnion(six));
  EXPECT_TRUE(later.contains(TanimTime(601)) && later.contains(TanimTime(603)));
  EXPECT_FALSE(six.mergeAsUnion(twelve) && false);
  TperiodicTimeRange copy = six;
  EXPECT_FALSE(copy.mergeAsUnion(TperiodicTimeRange(TanimTime(100), TanimTime(kInf))));
  EXPECT_TRUE(copy == six);
}

TEST(TperiodicTimeRange, TextForms) {
  TanimTime::setGlobalCurrentTimeUnit(kTimeFilm);
  const Ticks f = TanimTime::kTicksPerUnit[kTimeFilm];
  TperiodicTimeRange r;
  EXPECT_EQ(r.asStr(), Tstring("{empty}"));
  EXPECT_EQ(TperiodicTimeRange::sInfinity().asStr(), Tstring("{all}"));
  r.add({0, 10 * f});
  r.add({20 * f, 30 * f});
  EXPECT_EQ(r.asStr(), Tstring("[[0, 10), [20, 30)]"));
  TperiodicTimeRange cycle;
  cycle.add({f, 11 * f});
  ASSERT_TRUE(cycle.setPeriodic(TanimTime(24 * f), TtimeInterval(0, kInf)));
  std::ostringstream out;
  out << cycle;
  EXPECT_EQ(out.str(), "{ period = 24, bound = [0, inf), [1, 11)]}");

  // Every written form reads back to an equal range; malformed text changes nothing.
  for (const TperiodicTimeRange& written :
       {r, cycle, TperiodicTimeRange(), TperiodicTimeRange::sInfinity(),
        TperiodicTimeRange(TanimTime(-3), TanimTime(7))}) {
    TperiodicTimeRange back(TanimTime(1), TanimTime(2));
    ASSERT_TRUE(back.setFromString(written.asStr().asC())) << written.asStr().asC();
    EXPECT_TRUE(back == written) << written.asStr().asC();
    EXPECT_EQ(back.bound(), written.bound());
  }
  for (const char* bad : {"", "[", "[[0, 10)", "[[10, 20), [0, 5)]", "[[0, x)]", "{all} x",
                          "{ period = 24, bound = [0, inf), [1, 30)]}",
                          "{ period = 24, bound = [0, inf), [1, 11)}"}) {
    TperiodicTimeRange keep(TanimTime(1), TanimTime(2));
    EXPECT_FALSE(keep.setFromString(bad)) << bad;
    EXPECT_EQ(keep.bound(), TtimeInterval(1, 3));
  }

  TperiodicTimeRangeSet set;
  EXPECT_EQ(set.asStr(), Tstring("{empty}"));
  set.insert(r);
  set.insert(TtimeInterval(5 * f, 25 * f));
  set.insert(TanimTime(100 * f), TanimTime(100 * f));
  set.insert(TperiodicTimeRange());  // not kept
  EXPECT_EQ(set.size(), 3u);
  EXPECT_TRUE(set.contains(TanimTime(100 * f)) && !set.contains(TanimTime(50 * f)));
  EXPECT_TRUE(set.intersects({99 * f, 101 * f}) && !set.universal());
  TtimeIntervalArray merged;
  ASSERT_TRUE(set.expand({0, 200 * f}, merged));
  ASSERT_EQ(merged.size(), 2u);
  EXPECT_EQ(merged[0], TtimeInterval(0, 30 * f));

  const TinnerOuterTimeRange io(r, TperiodicTimeRange(TanimTime(0), TanimTime(40 * f)));
  EXPECT_TRUE(io.inRange(TanimTime(35 * f)) && !io.inInner(TanimTime(35 * f)));
  EXPECT_STREQ(io.asStr().asC(), "inner = [[0, 10), [20, 30)], outer = [[0, 40.00000017006803)]");
}

TEST(TperiodicTimeRange, HeaderExample) {
  TperiodicTimeRange r;
  r.add(TtimeInterval(0, 5));
  r.add(TtimeInterval(8, 10));
  r.add(TtimeInterval(3, 9));
  ASSERT_EQ(r.intervals().size(), 1u);
  EXPECT_EQ(r.intervals()[0], TtimeInterval(0, 10));
  TperiodicTimeRange cycle(TanimTime(0), TanimTime(9));
  TtimeInterval all;
  all.setStartInfinity();
  all.setEndInfinity();
  ASSERT_TRUE(cycle.setPeriodic(TanimTime(24), all));
  EXPECT_TRUE(cycle.contains(TanimTime(30)));
  TtimeIntervalArray concrete;
  ASSERT_TRUE(cycle.expand(TtimeInterval(0, 60), concrete));
  ASSERT_EQ(concrete.size(), 3u);
  EXPECT_EQ(concrete[0], TtimeInterval(0, 10));
  EXPECT_EQ(concrete[1], TtimeInterval(24, 34));
  EXPECT_EQ(concrete[2], TtimeInterval(48, 58));
}
