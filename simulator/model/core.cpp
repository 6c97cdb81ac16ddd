#include "simulator/model/core.h"

#include <algorithm>

namespace simulator {

bool CoreFile::isOffline(Microseconds time) const {
  return std::any_of(offline.begin(), offline.end(), [time](const Span& span) { return span.holds(time); });
}

Wide CoreFile::whileOnline(const Signal& signal, Microseconds time) const {
  Wide passed = signal.integral(time);
  for (const Span& span : offline)
    passed -= signal.integral(std::min(time, span.to)) - signal.integral(std::min(time, span.from));
  return passed;
}

Wide CoreFile::passed(std::size_t column, Microseconds time) const {
  if (column != kIdleColumn) return whileOnline(shares[column], time);
  Wide rest = whileOnline(Signal{100 * kOne}, time);
  for (std::size_t other = 0; other < kGuestColumn; ++other) {
    if (other != kIdleColumn) rest -= passed(other, time);
  }
  return rest;
}

Wide CoreFile::busy(Microseconds time) const {
  return whileOnline(Signal{100 * kOne}, time) - passed(kIdleColumn, time) - passed(kIowaitColumn, time);
}

Thousandths CoreFile::busyAt(Microseconds time) const {
  if (isOffline(time)) return 0;
  Thousandths busy = 0;
  for (std::size_t column = 0; column < kGuestColumn; ++column) {
    if (column != kIdleColumn && column != kIowaitColumn) busy += shares[column].at(time);
  }
  return busy;
}

std::int64_t CoreFile::kHzAt(Microseconds time) const {
  if (clock) return clock->at(time) / kOne;
  return minKHz + (maxKHz - minKHz) * busyAt(time) / (100 * kOne);
}

}  // namespace simulator
