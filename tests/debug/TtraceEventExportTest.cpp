// Trace-event export: the JSON parses (Qt's reader), the timer events nest as the timers did and
// carry their totals, the counter events carry each thread's counts.
#include <velacore/debug/Tcounter.h>
#include <velacore/debug/TdebugOutputString.h>
#include <velacore/debug/TnestedTimers.h>
#include <velacore/debug/TtraceEventExport.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "DebugTestUtil.h"

namespace {

QJsonArray parsedEvents(const Tstring& json) {
  QJsonParseError error{};
  const QJsonDocument document =
      QJsonDocument::fromJson(QByteArray(json.asC(), static_cast<int>(json.length())), &error);
  EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
  EXPECT_EQ(document.object().value("displayTimeUnit").toString().toStdString(), "ms");
  return document.object().value("traceEvents").toArray();
}

void spin(double seconds) {
  const double until = TnestedTimers::pollTimer() + seconds;
  while (TnestedTimers::pollTimer() < until) {
  }
}

}  // namespace

TEST(TtraceEventExport, NestedTimersNestAndKeepTheirTotals) {
  TnestedTimers::releaseAll();
  const int frame = TnestedTimers::getIndex("frame \"1\"\tall");  // quoting is exercised
  const int eval = TnestedTimers::getIndex("evaluate");
  const int draw = TnestedTimers::getIndex("draw");
  for (int i = 0; i < 3; ++i) {
    TnestedTimers::startNested(frame);
    TnestedTimers::startNested(eval);
    spin(0.0002);
    TnestedTimers::startNested(draw);  // draw under evaluate, and again under frame
    spin(0.0001);
    TnestedTimers::stopNested();
    TnestedTimers::stopNested();
    TnestedTimers::startNested(draw);
    spin(0.0003);
    TnestedTimers::stopNested();
    TnestedTimers::stopNested();
  }
  TnestedTimers::startNested(eval);  // open: nothing is exported
  TtraceEventExport refused;
  EXPECT_EQ(refused.addNestedTimers(), 0);
  TnestedTimers::stopNested();  // a second top-level record

  TtraceEventExport events;
  std::vector<int> indices;
  TnestedTimers::collectAllNestedTimers(indices);
  ASSERT_EQ(events.addNestedTimers(), static_cast<int>(indices.size()));
  const QJsonArray parsed = parsedEvents(events.json());
  ASSERT_EQ(parsed.size(), static_cast<int>(indices.size()));

  std::map<int, QJsonObject> bySlot;
  for (const QJsonValue& value : parsed) {
    const QJsonObject event = value.toObject();
    EXPECT_EQ(event.value("ph").toString().toStdString(), "X");
    EXPECT_NE(event.value("tid").toDouble(), 0.0);
    bySlot[event.value("args").toObject().value("slot").toInt()] = event;
  }
  for (int slot : indices) {
    ASSERT_EQ(bySlot.count(slot), 1u) << slot;
    const QJsonObject event = bySlot[slot];
    EXPECT_EQ(event.value("name").toString().toStdString(), TnestedTimers::description(slot));
    EXPECT_NEAR(event.value("dur").toDouble(), TnestedTimers::getTime(slot) * 1e6, 0.001);
    EXPECT_EQ(event.value("args").toObject().value("count").toInt(), TnestedTimers::getCount(slot));
    // Inside its parent's span, as the nesting tree says.
    const TnestedTimers::TnestingInfo* record = TnestedTimers::getNestingInfo(slot);
    if (record->parent != nullptr && record->parent->index >= 0) {
      const QJsonObject parent = bySlot[record->parent->index];
      const double start = event.value("ts").toDouble();
      EXPECT_GE(start, parent.value("ts").toDouble());
      EXPECT_LE(start + event.value("dur").toDouble(),
                parent.value("ts").toDouble() + parent.value("dur").toDouble() + 0.002);
    }
  }
  // draw ran under two parents: two events with its name, totals adding up to its instances'.
  double drawTotal = 0.0;
  int drawEvents = 0;
  for (const auto& [slot, event] : bySlot) {
    if (event.value("name").toString() == "draw") {
      drawTotal += event.value("dur").toDouble();
      ++drawEvents;
    }
  }
  EXPECT_EQ(drawEvents, 2);
  EXPECT_NEAR(drawTotal, TnestedTimers::getTime(draw, true) * 1e6, 0.002);
  EXPECT_EQ(bySlot[frame].value("name").toString().toStdString(), "frame \"1\"\tall");

  // The timers' own tree report lists the same records, depth first in the same order, each
  // indented by its depth and with the same total.
  TdebugOutputString report;
  TnestedTimers::dumpNested(TnestedTimers::kNested, &report);
  std::istringstream reportLines(report.string().asC());
  std::string line;
  std::getline(reportLines, line);  // the title
  std::vector<std::string> reported;
  while (std::getline(reportLines, line)) {
    if (line.find("OTHER") == std::string::npos) reported.push_back(line.substr(0, 54));
  }
  std::vector<std::string> exported;
  for (const QJsonValue& value : parsed) {
    const QJsonObject event = value.toObject();
    int depth = 0;
    const auto* record = TnestedTimers::getNestingInfo(event.value("args").toObject().value("slot").toInt());
    for (auto* p = record->parent; p != nullptr && p->index >= 0; p = p->parent) ++depth;
    char text[128];
    std::snprintf(text, sizeof text, "%-45.45s %8.4f",
                  (std::string(2 * depth, ' ') + event.value("name").toString().toStdString()).c_str(),
                  event.value("dur").toDouble() * 1e-6);
    exported.push_back(text);
  }
  EXPECT_EQ(exported, reported);

  TempDir dir;
  const std::string path = (dir.path() / "timers.json").string();
  ASSERT_TRUE(events.writeFile(Tstring(path.c_str())));
  EXPECT_EQ(readFile(path), events.json().asC());
  EXPECT_FALSE(events.writeFile(Tstring((dir.path() / "no" / "such.json").string().c_str())));
  TnestedTimers::releaseAll();
}

TEST(TtraceEventExport, CountersPerThreadAndContext) {
  Tcounter counter("te_export.counted");
  Tcounter off("te_export.off");
  counter.enable();
  counter.increment();
  counter.increment("skin");
  std::thread([&] {
    counter.pushContext("deformers");
    counter.increment("skin");
    counter.increment("skin");
    counter.popContext();
  }).join();

  TtraceEventExport events;
  EXPECT_EQ(events.addCounters("te_export.*"), 2);  // two threads; the disabled counter is left out
  const QJsonArray parsed = parsedEvents(events.json());
  ASSERT_EQ(parsed.size(), 2);
  double total = 0.0;
  std::map<std::string, double> contexts;
  for (const QJsonValue& value : parsed) {
    const QJsonObject event = value.toObject();
    EXPECT_EQ(event.value("ph").toString().toStdString(), "C");
    EXPECT_EQ(event.value("name").toString().toStdString(), "te_export.counted");
    const QJsonObject args = event.value("args").toObject();
    total += args.value("total").toDouble();
    for (auto it = args.begin(); it != args.end(); ++it) {
      if (it.key() != "total") contexts[it.key().toStdString()] += it.value().toDouble();
    }
  }
  EXPECT_EQ(total, counter.count());
  EXPECT_EQ(contexts["(top)"], 1.0);
  EXPECT_EQ(contexts["skin"], 1.0);
  EXPECT_EQ(contexts["deformers/skin"], 2.0);
  EXPECT_EQ(contexts["deformers"], 0.0);
  counter.disable();
}

// The header's example, as written.
TEST(TtraceEventExport, HeaderExample) {
  TempDir dir;
  WorkingDirGuard cwd(dir.path());
  TtraceEventExport events;
  events.addNestedTimers();               // the tree TnestedTimers::dumpNested prints
  events.addCounters("eval*");            // every counter matching the wildcard pattern
  events.writeFile("timers.json");
  EXPECT_EQ(readFile(dir.path() / "timers.json"), events.json().asC());
}
