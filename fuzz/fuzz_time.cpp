// Fuzzes the time, timecode and time-range readers: no crash, refused text leaves the value as it
// was, accepted times write out to text that reads back to the same tick, and a range's text
// form is stable when read and written again.
#include <velacore/time/TanimTime.h>
#include <velacore/time/TperiodicTimeRange.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // The first byte picks the current unit (including the unitless 50).
  TanimTime::setGlobalCurrentTimeUnit(static_cast<TtimeUnitSystem>(data[0] % 51));
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  const char* c = text.c_str();

  const TanimTime::Tticks before = 0x5EED;
  TanimTime t(before);
  TanimTime smpte(before);
  TanimTime terms(before);
  const bool read = t.setValueFromString(c);
  if (!smpte.setValueFromSmpteFromString(c) && smpte.inTicks() != before) std::abort();
  if (!terms.parseTime(c) && terms.inTicks() != before) std::abort();
  if (!read && t.inTicks() != before) std::abort();
  if (read) {
    for (bool asTimecode : {true, false}) {
      TanimTime back;
      if (!back.setValueFromString(t.toString(asTimecode)) || back != t) std::abort();
    }
  }

  TperiodicTimeRange range;
  if (range.setFromString(c)) {
    if (!range.areIntervalsValid()) std::abort();
    // Written, read and written again, the text stays the same.
    const Tstring written = range.asStr();
    TperiodicTimeRange back;
    if (!back.setFromString(written.asC()) || !(back.asStr() == written)) std::abort();
  }
  return 0;
}
