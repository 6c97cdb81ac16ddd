// Units, and how figures are written in them. A figure is kept in one unit, which its key names
// ("load_percent"); text scales it for the eye, metrics scale it to the base unit.
#ifndef TESSARY_TOOLS_FIGURES_FORMAT_H
#define TESSARY_TOOLS_FIGURES_FORMAT_H

namespace tool {

struct Unit {
  const char* name = "";    // in headers and files: "percent", "KiB"
  const char* base = "";    // the base unit's name in a metric: "ratio", "bytes"; empty: a bare number
  double toBase = 1;        // from this unit to the base unit
  const char* suffix = "";  // of keys: "_percent", "_kib"
};

inline constexpr Unit kNumber{};
inline constexpr Unit kRatioUnit{"ratio", "ratio", 1};
inline constexpr Unit kPercentUnit{"percent", "ratio", 0.01, "_percent"};
inline constexpr Unit kCelsiusUnit{"degrees Celsius", "celsius", 1, "_celsius"};
inline constexpr Unit kSecondsUnit{"seconds", "seconds", 1, "_seconds"};
inline constexpr Unit kMillisecondsUnit{"milliseconds", "seconds", 0.001, "_ms"};
inline constexpr Unit kPerSecondUnit{"per second", "per_second", 1, "_per_second"};
inline constexpr Unit kMegahertzUnit{"MHz", "hertz", 1e6, "_mhz"};
inline constexpr Unit kKilohertzUnit{"kHz", "hertz", 1e3, "_khz"};
inline constexpr Unit kKibibytesUnit{"KiB", "bytes", 1024, "_kib"};
inline constexpr Unit kBytesPerSecondUnit{"bytes per second", "bytes_per_second", 1, "_bytes_per_second"};

struct Format {
  Unit unit;
  const char* shown = "";  // the unit behind the figure in text
  int decimals = 0;        // in text
  double scale = 1;        // from the unit to what text shows
  bool prefixes = false;   // KiB, MiB ..: the scale leads to bytes then
  int jsonDecimals = 3;
};

inline constexpr Format kPlain{kNumber};
inline constexpr Format kFraction{kRatioUnit, "", 3, 1, false, 6};
inline constexpr Format kPercent{kPercentUnit, " %", 1};
inline constexpr Format kCelsius{kCelsiusUnit, " C", 1};
inline constexpr Format kSeconds{kSecondsUnit, " s", 2};
inline constexpr Format kMilliseconds{kMillisecondsUnit, " ms", 3};
inline constexpr Format kPerSecond{kPerSecondUnit, " /s", 1};
inline constexpr Format kMegahertz{kMegahertzUnit, " MHz"};
inline constexpr Format kKilohertz{kKilohertzUnit, " MHz", 0, 0.001};
inline constexpr Format kKibibytes{kKibibytesUnit, "B", 1, 1024, true};
inline constexpr Format kBytesPerSecond{kBytesPerSecondUnit, "B/s", 1, 1, true};

}  // namespace tool

#endif
