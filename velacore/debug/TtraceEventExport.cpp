#include <velacore/debug/TtraceEventExport.h>

#include <velacore/debug/Tcounter.h>
#include <velacore/debug/TnestedTimers.h>
#include <velacore/platform/TplatformSystem.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <vector>

namespace {

// A JSON string literal of `text` (bytes outside ASCII pass through as they are).
void appendQuoted(std::string& out, const char* text) {
  out += '"';
  for (const char* p = text != nullptr ? text : ""; *p != '\0'; ++p) {
    const auto c = static_cast<unsigned char>(*p);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
      out += escaped;
    } else {
      out += static_cast<char>(c);
    }
  }
  out += '"';
}

void appendNumber(std::string& out, double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.3f", value);
  out += text;
}

}  // namespace

int TtraceEventExport::addNestedTimers() {
  using TnestingInfo = TnestedTimers::TnestingInfo;
  if (TnestedTimers::openLevels() > 0) return 0;
  std::vector<int> all;
  TnestedTimers::collectAllNestedTimers(all);
  std::vector<const TnestingInfo*> top;
  for (int index : all) {
    const TnestingInfo* record = TnestedTimers::getNestingInfo(index);
    if (record != nullptr && (record->parent == nullptr || record->parent->index < 0)) {
      top.push_back(record);
    }
  }
  const long long pid = static_cast<long long>(vela::platform::processId());
  const auto byTime = [](const TnestingInfo* a, const TnestingInfo* b) {
    return TnestedTimers::compare_(a->index, b->index, false);
  };
  int added = 0;
  // Depth first; each record's children start where the record starts, one after another.
  struct Twalk {
    TtraceEventExport& self;
    long long pid;
    decltype(byTime)& order;
    int& added;
    void visit(std::vector<const TnestingInfo*> records, double start) {
      std::stable_sort(records.begin(), records.end(), order);
      for (const TnestingInfo* record : records) {
        const double duration = TnestedTimers::getTime(record->index) * 1e6;
        std::string& out = self.fEvents;
        if (!out.empty()) out += ",\n";
        out += "{\"name\":";
        appendQuoted(out, TnestedTimers::description(record->index));
        out += ",\"cat\":\"timer\",\"ph\":\"X\",\"ts\":";
        appendNumber(out, start);
        out += ",\"dur\":";
        appendNumber(out, duration);
        out += ",\"pid\":" + std::to_string(pid) + ",\"tid\":" + std::to_string(record->thread) +
               ",\"args\":{\"count\":" + std::to_string(TnestedTimers::getCount(record->index)) +
               ",\"recursions\":" + std::to_string(TnestedTimers::getRecursions(record->index)) +
               ",\"slot\":" + std::to_string(record->index) + "}}";
        ++added;
        std::vector<const TnestingInfo*> children;
        for (const TnestingInfo* c = record->firstChild; c != nullptr; c = c->nextSibling) {
          children.push_back(c);
        }
        visit(children, start);
        start += duration;
        self.fTimelineEnd = std::max(self.fTimelineEnd, start);
      }
    }
  };
  Twalk{*this, pid, byTime, added}.visit(top, fTimelineEnd);
  fCount += added;
  return added;
}

int TtraceEventExport::addCounters(const Tstring& pattern) {
  const long long pid = static_cast<long long>(vela::platform::processId());
  int added = 0;
  for (const Tcounter* counter : Tcounter::sMatchingCounters(pattern)) {
    if (!counter->isEnabled()) continue;
    counter->forEachThread([&](std::uint32_t thread, const TcounterContext& root) {
      std::string& out = fEvents;
      if (!out.empty()) out += ",\n";
      out += "{\"name\":";
      appendQuoted(out, counter->name().asC());
      out += ",\"cat\":\"counter\",\"ph\":\"C\",\"ts\":";
      appendNumber(out, fTimelineEnd);
      out += ",\"pid\":" + std::to_string(pid) + ",\"tid\":" + std::to_string(thread) +
             ",\"args\":{";
      unsigned own = 0, total = 0;
      root.getCounts(own, total);
      out += "\"total\":" + std::to_string(total);
      root.forEachContext([&out](const std::string& path, unsigned count) {
        out += ',';
        appendQuoted(out, path.empty() ? "(top)" : path.c_str());
        out += ':' + std::to_string(count);
      });
      out += "}}";
      ++added;
    });
  }
  fCount += added;
  return added;
}

Tstring TtraceEventExport::json() const {
  std::string text = "{\"traceEvents\":[\n" + fEvents + "\n],\"displayTimeUnit\":\"ms\"}\n";
  return Tstring(text.c_str(), static_cast<unsigned>(text.size()));
}

bool TtraceEventExport::writeFile(const Tstring& path) const {
  std::ofstream file(path.asC(), std::ios::binary | std::ios::trunc);
  if (!file) return false;
  const Tstring text = json();
  file.write(text.asC(), static_cast<std::streamsize>(text.length()));
  file.close();
  return !file.fail();
}
