#include "simulator/model/model.h"

namespace simulator {

namespace {

constexpr char kThermalFolder[] = "/sys/class/thermal";

// The mean of the busy shares over the time before now, as long as the lag: a load that starts warms the zone
// evenly until the lag has passed, and one that ends cools it as long. Before the board's start there was
// none.
Thousandths meanLoad(const ZoneFile& zone, const BoardFile& file, Microseconds now) {
  const Microseconds before = now < zone.lag ? 0 : now - zone.lag;
  Wide busy = 0;
  for (const int core : zone.cores) {
    const CoreFile& heater = file.cores[static_cast<std::size_t>(core)];
    busy += heater.busy(now) - heater.busy(before);
  }
  return static_cast<Thousandths>(busy / zone.lag / static_cast<Wide>(zone.cores.size()));
}

// Thousandths of a degree, as the kernel's unit is.
Thousandths temperature(const ZoneFile& zone, const BoardFile& file, Microseconds now) {
  if (zone.temperature) return zone.temperature->at(now);
  return zone.ambient.at(now) + zone.rise * meanLoad(zone, file, now) / (100 * kOne);
}

}  // namespace

void layOutThermal(Board& board, const SharedFile& file) {
  const auto folderOf = [](const char* name, std::size_t number) {
    return std::string{kThermalFolder} + "/" + name + std::to_string(number) + "/";
  };
  for (std::size_t i = 0; i < file->zones.size(); ++i) {
    const ZoneFile& zone = file->zones[i];
    const std::string folder = folderOf("thermal_zone", i);
    board.file(folder + "mode", "enabled\n");
    board.file(folder + "temp",
               [&board, file, &zone] { return line(temperature(zone, *file, boardTime(board))); });
    board.file(folder + "type", zone.type + "\n");
    // The same sensor, as the kernel shows a zone to programs that look for sensors.
    const std::string sensor = "/sys/class/hwmon/hwmon" + std::to_string(i) + "/";
    board.file(sensor + "name", zone.type + "\n");
    board.file(sensor + "temp1_input",
               [&board, file, &zone] { return line(temperature(zone, *file, boardTime(board))); });
    for (const std::string& node : {folder + "temp", sensor + "temp1_input"})
      hideWhileAbsent(board, file, node, zone.temperature ? *zone.temperature : zone.ambient);
  }
  for (std::size_t i = 0; i < file->coolingDevices.size(); ++i) {
    const CoolingDeviceFile& device = file->coolingDevices[i];
    const std::string folder = folderOf("cooling_device", i);
    board.file(folder + "cur_state",
               [&board, file, &device] { return line(device.state.at(boardTime(board)) / kOne); });
    hideWhileAbsent(board, file, folder + "cur_state", device.state);
    board.file(folder + "max_state", line(device.maxState));
    board.file(folder + "type", device.type + "\n");
  }
}

}  // namespace simulator
