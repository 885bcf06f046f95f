// vela-info time VALUE [--unit U] [--to U] [--smpte]: converts a time between units and
// timecode, or shows a time range's text form.
#include "VelaInfoCommand.h"

#include <velacore/time/TanimTime.h>
#include <velacore/time/TperiodicTimeRange.h>
#include <velacore/time/TunitNames.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

void help(std::FILE* out) {
  std::fputs(
      "usage: vela-info time VALUE [--unit U] [--to U] [--smpte]\n"
      "  Reads VALUE as a time in unit U (default film, 24 frames a second): timecode\n"
      "  \"hh:mm:ss:ff\" (\";\" before the frames for 29.97df), a number of frames, or terms\n"
      "  such as \"1m 30s\", \"2.5f\", \"12t\" (ticks). Prints the time in ticks, seconds, frames\n"
      "  of the --to unit (default U) and its timecode; with --smpte only the timecode.\n"
      "  A VALUE \"FIRST..LAST\" or \"FIRST..LAST/PERIOD\" (frames of U), or a range's text form\n"
      "  (\"[[0, 10), [20, 30)]\", \"{ period = 24, bound = [0, inf), [1, 11)]}\"), prints the\n"
      "  range's text form in the --to unit.\n"
      "  Units: hour, min, sec, millisec, game, film, pal, ntsc, show, palf, ntscf, 2fps ...\n"
      "  6000fps, 23.976fps, 29.97fps, 29.97df, 47.952fps, 59.94fps, 44100fps, 48000fps, 90fps.\n",
      out);
}

// "FIRST..LAST[/PERIOD]" in frames of the current unit.
bool readShortRange(const std::string& text, TperiodicTimeRange& range) {
  const std::size_t dots = text.find("..");
  if (dots == std::string::npos) return false;
  const std::size_t slash = text.find('/', dots);
  TanimTime first, last, period;
  if (!first.setValueFromString(text.substr(0, dots).c_str()) ||
      !last.setValueFromString(text.substr(dots + 2, slash - dots - 2).c_str())) {
    return false;
  }
  // Frames FIRST to LAST, both included.
  const TtimeInterval frames =
      TtimeInterval::rightOpen(first, last + TanimTime(1.0, kTimeCurrentUnit));
  range = TperiodicTimeRange(&frames, 1);
  if (slash == std::string::npos) return !range.empty();
  TtimeInterval all;
  all.setStartInfinity();
  all.setEndInfinity();
  return period.setValueFromString(text.substr(slash + 1).c_str()) &&
         range.setPeriodic(period, all);
}

int run(int argc, char** argv) {
  const char* value = nullptr;
  const char* fromName = "film";
  const char* toName = nullptr;
  bool smpteOnly = false;
  for (int i = 2; i < argc; ++i) {
    if ((std::strcmp(argv[i], "--unit") == 0 || std::strcmp(argv[i], "--to") == 0) &&
        i + 1 < argc) {
      (argv[i][2] == 'u' ? fromName : toName) = argv[i + 1];
      ++i;
    } else if (std::strcmp(argv[i], "--smpte") == 0) {
      smpteOnly = true;
    } else if (value == nullptr && (argv[i][0] != '-' || argv[i][1] != '-')) {
      value = argv[i];
    } else {
      help(stderr);
      return 2;
    }
  }
  if (value == nullptr) {
    help(stderr);
    return 2;
  }
  if (toName == nullptr) toName = fromName;
  TtimeUnitSystem from, to;
  if (!TunitNames::setFromName(fromName, from) || from >= kTimeNoUnit) {
    velaInfoFail("s_TvelaInfoTimeStrings.rUnknownUnit", fromName);
    return 2;
  }
  if (!TunitNames::setFromName(toName, to) || to >= kTimeNoUnit) {
    velaInfoFail("s_TvelaInfoTimeStrings.rUnknownUnit", toName);
    return 2;
  }
  TanimTime::setGlobalCurrentTimeUnit(from);

  const std::string text(value);
  TperiodicTimeRange range;
  const bool isRange = text.find("..") != std::string::npos || text[0] == '[' || text[0] == '{';
  if (isRange) {
    if (!(text[0] == '[' || text[0] == '{' ? range.setFromString(value)
                                           : readShortRange(text, range))) {
      velaInfoFail("s_TvelaInfoTimeStrings.rBadRange", value);
      return 1;
    }
    TanimTime::setGlobalCurrentTimeUnit(to);
    std::printf("%s\n", range.asStr().asC());
    return 0;
  }

  TanimTime time;
  if (!time.setValueFromString(value)) {
    velaInfoFail("s_TvelaInfoTimeStrings.rBadTime", value);
    return 1;
  }
  TanimTime::setGlobalCurrentTimeUnit(to);
  const Tstring timecode = time.toString(true, to);
  if (smpteOnly) {
    std::printf("%s\n", timecode.asC());
    return 0;
  }
  Tstring unitName;
  TunitNames::setToLongName(to, unitName);
  std::printf("ticks: %lld\n", static_cast<long long>(time.inTicks()));
  std::printf("seconds: %.17g\n", time.inDoubleSeconds());
  std::printf("%s: %s\n", unitName.asC(), time.toFrameUnitsString().asC());
  std::printf("timecode: %s\n", timecode.asC());
  return 0;
}

const TvelaInfoCommand kTime{"time", "VALUE [--unit U] [--to U] [--smpte]",
                             "convert a time between units and timecode", run, help};

}  // namespace

VELA_INFO_REGISTER(kTime);
