// Video processing: group 0 and its channels, each of which gives every picture on in its own size.
// Modelled: the order of calls, the sizes, the blocks for pictures on their way, and what group and channel do to a
// picture (treatment.h). Refused, as nothing here could make use of it: image enhancement, histograms, deinterlacing,
// borders, sharpening of a channel, compression, a share of the frames. Not judged: a group that is larger than its
// pictures.
#pragma once

#include <array>
#include <optional>

#include "sdk/hi_mpi_vpss.h"
#include "twin/devices/media/media_error.h"
#include "twin/devices/media/system_unit.h"
#include "twin/devices/media/treatment.h"

namespace twin {

class VpssUnit {
 public:
  static constexpr int kChannels = 4;

  HI_S32 Create(VPSS_GRP group, const VPSS_GRP_ATTR_S* attr);
  HI_S32 Destroy(VPSS_GRP group, const SystemUnit& system);
  HI_S32 Start(VPSS_GRP group);
  HI_S32 Stop(VPSS_GRP group, const SystemUnit& system);
  HI_S32 SetChnAttr(VPSS_GRP group, VPSS_CHN channel, const VPSS_CHN_ATTR_S* attr);
  HI_S32 SetChnMode(VPSS_GRP group, VPSS_CHN channel, const VPSS_CHN_MODE_S* mode);
  HI_S32 EnableChn(VPSS_GRP group, VPSS_CHN channel, SystemUnit& system);
  HI_S32 DisableChn(VPSS_GRP group, VPSS_CHN channel, SystemUnit& system);

  bool Exists(VPSS_GRP group) const { return group == 0 && group_.has_value(); }
  bool Takes(const SIZE_S& picture) const;
  // What group and channel add to the treatment of a picture.
  void Treat(VPSS_CHN channel, Treatment& treatment) const;
  // The size of the pictures that come out of a channel now; nothing if none do.
  std::optional<SIZE_S> Output(VPSS_CHN channel) const;

  void Reset() { *this = VpssUnit{}; }

 private:
  struct Channel {
    std::optional<VPSS_CHN_ATTR_S> attr;
    std::optional<VPSS_CHN_MODE_S> mode;
    bool on = false;
  };
  HI_S32 Check(VPSS_GRP group, VPSS_CHN channel) const;

  std::optional<VPSS_GRP_ATTR_S> group_;
  bool started_ = false;
  std::array<Channel, kChannels> channels_;
};

}  // namespace twin
