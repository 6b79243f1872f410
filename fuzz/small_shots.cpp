#include "fuzz/small_shots.h"

#include "tests/support/made_shot.h"

namespace fuzz {

namespace {

using Content = std::shared_ptr<const std::string>;

Content MakeSmall(support::MadeShot shot) {
  shot.jpeg = [](const std::string& size, int camera, int exposure) {
    const std::string text = size + " " + std::to_string(camera) + " " + std::to_string(exposure);
    return support::Bytes(text.begin(), text.end());
  };
  shot.thumbnail = {'t', 'h', 'u', 'm', 'b'};
  const support::Bytes bytes = shot.Make();
  return std::make_shared<const std::string>(bytes.begin(), bytes.end());
}

}  // namespace

const std::map<std::string, Content>& SmallShots() {
  static const std::map<std::string, Content> shots = [] {
    std::map<std::string, Content> made;
    made["plain.ori"] = MakeSmall({});
    support::MadeShot logo;
    logo.captureMode = 2;
    logo.hasLogo = true;
    logo.logo = {'l', 'o', 'g', 'o'};
    made["logo.ori"] = MakeSmall(logo);
    support::MadeShot large;
    large.deviceId = 12;
    large.captureMode = 3;
    large.skippedSection = true;
    made["large.ori"] = MakeSmall(large);
    made["cut.ori"] = std::make_shared<const std::string>(made["plain.ori"]->substr(0, 80'000));
    made["12.jpg"] = std::make_shared<const std::string>("one picture");
    return made;
  }();
  return shots;
}

}  // namespace fuzz
