#include "twin/devices/media/lane_receiver.h"

#include <algorithm>

#include "twin/transcript/transcript.h"

namespace twin {

LaneReceiver::LaneReceiver(Kernel& kernel, Faults& faults)
    : kernel_(kernel),
      open_(faults, "mipi.open", "opening the lane receiver: fail"),
      attributes_(faults, "mipi.attr", "giving the lane receiver its record: fail, silence") {}

int LaneReceiver::Open(int /*flags*/) { return -open_.AskFailure(); }

int LaneReceiver::Ioctl(unsigned long request, void* record) {
  kernel_.Spend(100us);
  if (static_cast<uint32_t>(request) != HI_MIPI_SET_DEV_ATTR) return -ENOTTY;
  if (record == nullptr) return -EFAULT;
  if (const auto effect = attributes_.Ask()) {
    if (effect->kind == Effect::Kind::Fail) return -static_cast<int>(effect->value);
    if (effect->kind == Effect::Kind::Silence) return 0;
  }
  const auto& wanted = *static_cast<const MIPI_DEV_ATTR_S*>(record);
  if (Transcript::Hears("media")) Transcript::Note("media", "/dev/hi_mipi [" + WordsOf(&wanted, sizeof wanted) + "]");
  if (wanted.devno != 0 || wanted.img_size.u32Width == 0 || wanted.img_size.u32Height == 0) return -EINVAL;
  record_ = wanted;
  return 0;
}

bool LaneReceiver::Understands(const LaneStream& stream) const {
  if (!record_) return false;
  const MIPI_DEV_ATTR_S& r = *record_;
  if (r.input_mode != INPUT_MODE_LVDS || r.phy_clk_share != PHY_CLK_SHARE_PHY0 || r.wdr_mode != WDR_MODE_NONE) {
    return false;
  }
  if (r.img_size.u32Width != stream.width || r.img_size.u32Height != stream.height) return false;
  if (r.raw_data_type != stream.depth || r.sync_mode != stream.syncMode) return false;
  if (r.data_endian != stream.dataEndian || r.sync_code_endian != stream.codeEndian) return false;
  if (r.vsync_type.sync_type != stream.vsync.sync_type || r.vsync_type.hblank != stream.vsync.hblank) return false;
  if (r.fid_type.fid != stream.field.fid || r.fid_type.output_fil != stream.field.output_fil) return false;
  for (int lane = 0; lane < LVDS_LANE_NUM; lane++) {
    if (r.lane_id[lane] != (lane < stream.lanes ? lane : -1)) return false;
    if (lane >= stream.lanes) continue;
    for (const auto& row : r.sync_code[lane]) {
      if (!std::equal(stream.syncCodes.begin(), stream.syncCodes.end(), row)) return false;
    }
  }
  return true;
}

}  // namespace twin
