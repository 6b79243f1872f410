#include "twin/panel/controls.h"

#include "twin/console/limits.h"
#include "twin/devices/usb_ports/usb_ports.h"

namespace twin::panel {

namespace {

using nlohmann::json;

json Number(const char* label, const char* unit, const Limits& limit, double step, const char* path) {
  return {{"label", label},     {"unit", unit}, {"least", limit.least},
          {"most", limit.most}, {"step", step}, {"path", path}};
}

json Set(const char* label, const char* command, json numbers) {
  return {{"label", label}, {"set", command}, {"numbers", std::move(numbers)}};
}

json Switch(const std::string& label, const std::string& on, const std::string& off, const std::string& path) {
  return {{"label", label}, {"on", on}, {"off", off}, {"path", path}};
}

json Press(const char* label, const char* command, const char* what) {
  return {{"label", label}, {"command", command}, {"what", what}};
}

json Adapters() {
  json switches = json::array();
  for (const UsbAdapterKind& kind : kUsbAdapters) {
    const std::string word(kind.word);
    switches.push_back(Switch(word, "plug " + word, "pull " + word, "adapters/" + word));
  }
  return switches;
}

}  // namespace

json Controls() {
  json light = Set("Light", "light {}", {Number("factor", "x", {0.01, 100}, 0.01, "light")});
  light["powers"] = true;
  constexpr Limits kFree{0, 64'000'000}, kCapacity{1024, 256'000'000}, kSpeed{100'000, 100'000'000};
  json speed = Set("Speed", "speed {} {}",
                   {Number("write", "B/s", kSpeed, 100'000, "disk/writeSpeed"),
                    Number("read", "B/s", kSpeed, 100'000, "disk/readSpeed")});
  speed["powers"] = true;
  return {
      {{"title", "Held"},
       {"controls",
        {Set("Tilt", "tilt {} {}",
             {Number("front down", "°", limits::kTiltX, 0.5, "held/pitch"),
              Number("left up", "°", limits::kTiltY, 0.5, "held/roll")}),
         Set("Heading", "heading {}", {Number("from north", "°", {-180, 180}, 1, "held/heading")})}}},
      {{"title", "Light and place"},
       {"controls",
        {light,
         Set("Position", "gps {} {}",
             {Number("latitude", "°", limits::kLatitude, 0.001, "place/latitude"),
              Number("longitude", "°", limits::kLongitude, 0.001, "place/longitude")}),
         {{"label", "Fix"}, {"press", {Press("lose it", "gps off", "the receiver knows no position any more")}}},
         Set("Sensors' dies", "temperature {}", {Number("all", "°C", limits::kTemperature, 1, "temperature")})}}},
      {{"title", "Power"},
       {"controls",
        {Set("Battery", "battery {}", {Number("sample", "", limits::kBattery, 1, "battery")}),
         Switch("Charger", "charge on", "charge off", "charging"),
         {{"label", "Supply"},
          {"press",
           {Press("on", "power on", "start the board"),
            Press("cut", "power cut", "the power goes at this instant")}}}}}},
      {{"title", "Disk"},
       {"controls",
        {Switch("Plugged in", "plug disk", "pull disk", "disk/plugged"),
         Switch("Write lock", "readonly on", "readonly off", "disk/readOnly"),
         Set("Capacity", "capacity {}", {Number("of a pulled disk", "KB", kCapacity, 1024, "disk/totalKBs")}),
         Set("Stays free", "fill {}", {Number("space", "KB", kFree, 1024, "disk/freeKBs")}), speed}}},
      {{"title", "Adapters"}, {"controls", Adapters()}},
      {{"title", "Wireless remote"},
       {"tab", "phone"},
       {"controls",
        {{{"label", "Send"},
          {"press",
           {Press("I", "remote I", "asks for status"), Press("H", "remote H", "a shot, held by hand"),
            Press("T", "remote T", "a shot, on a tripod")}}}}}},
  };
}

json PhoneLinks() {
  const auto link = [](const char* label, const char* route) { return json{{"label", label}, {"route", route}}; };
  return {link("shots, and what it does", "/get_list"),
          link("what it is", "/get_information"),
          link("battery", "/get_battery_level"),
          link("last exposure", "/get_last_exposure"),
          link("temperatures", "/get_last_temperature"),
          link("take a shot at once", "/do_capture?delay=0"),
          link("a shot in 5 s, six exposures", "/do_capture?capmode=2&delay=3"),
          link("one camera alone", "/cap_single?camidx=12&exposure=20000"),
          link("button keeps settings", "/config?btnsetting=1&shutdownmode=0&mutemode=0"),
          link("name shots \"roof_\"", "/set_prefix?prefix=roof_"),
          link("format the disk", "/format_udisk"),
          link("switch off", "/shutdown")};
}

}  // namespace twin::panel
