// What a field of a record does that is not what this camera needs: no frame comes in, a call is refused, or the
// pictures come out otherwise and the board objects. What a missing call does, and an end in the wrong order.
#include <gmock/gmock.h>

#include <iterator>
#include <set>

#include "tests/support/media_units.h"
#include "twin/devices/media/media_calls.h"
#include "twin/light/read_mark.h"

using namespace std::chrono_literals;

namespace twin {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

// A change of one field of the records of a kind.
template <class R>
std::function<void(Record)> In(void (*change)(R&)) {
  return [change](Record record) {
    if (R** mine = std::get_if<R*>(&record)) change(**mine);
  };
}

struct Wrong {
  const char* objection;  // part of it; "unseen": no frame comes in
  std::function<void(Record)> spoil;
};

const Wrong kWrongs[] = {
    {"unseen", In<MIPI_DEV_ATTR_S>([](auto& r) { r.img_size.u32Width = 3840; })},
    {"unseen", In<MIPI_DEV_ATTR_S>([](auto& r) { r.raw_data_type = RAW_DATA_12BIT; })},
    {"unseen", In<MIPI_DEV_ATTR_S>([](auto& r) { std::swap(r.lane_id[0], r.lane_id[1]); })},
    {"unseen", In<MIPI_DEV_ATTR_S>([](auto& r) { r.sync_code[2][3][3] = 0x386; })},
    {"unseen", In<VI_DEV_ATTR_S>([](auto& r) { r.enScanMode = VI_SCAN_INTERLACED; })},
    {"unseen", In<ISP_PUB_ATTR_S>([](auto& r) { r.stWndRect.u32Width = 3200; })},
    {"ISP_Init", In<ISP_PUB_ATTR_S>([](auto& r) { r.stWndRect.u32Width = 4001; })},
    {"false colours", In<ISP_PUB_ATTR_S>([](auto& r) { r.enBayer = BAYER_RGGB; })},
    {"some bits", In<VI_DEV_ATTR_S>([](auto& r) { r.au32CompMask[0] = 0xFF000000; })},
    {"VI_SetDevAttr", In<VI_DEV_ATTR_S>([](auto& r) { r.s32AdChnId[3] = 0; })},
    {"reversed", In<VI_DEV_ATTR_S>([](auto& r) { r.bDataRev = HI_TRUE; })},
    {"mirrored", In<VI_CHN_ATTR_S>([](auto& r) { r.bMirror = HI_FALSE; })},
    {"upside down", In<VI_CHN_ATTR_S>([](auto& r) { r.bFlip = HI_TRUE; })},
    {"cut", In<VI_CHN_ATTR_S>([](auto& r) { r.stCapRect.u32Width = r.stDestSize.u32Width = 3200; })},
    {"VI_SetChnAttr", In<VI_CHN_ATTR_S>([](auto& r) { r.enCapSel = VI_CAPSEL_TOP; })},
    {"contrast", In<VI_DCI_PARAM_S>([](auto& r) { r.bEnable = HI_TRUE; })},
    {"another matrix", In<VI_CSC_ATTR_S>([](auto& r) { r.enViCscType = VI_CSC_TYPE_709; })},
    {"noisy", In<VPSS_GRP_ATTR_S>([](auto& r) { r.bNrEn = HI_FALSE; })},
    {"VPSS_CreateGrp", In<VPSS_GRP_ATTR_S>([](auto& r) { r.bIeEn = HI_TRUE; })},
    {"VPSS_SetChnMode", In<VPSS_CHN_MODE_S>([](auto& r) { r.bDouble = HI_TRUE; })},
    {"VENC_CreateChn", In<VENC_ATTR_JPEG_S>([](auto& r) { r.bSupportDCF = HI_TRUE; })},
    {"VENC_CreateChn", In<VENC_ATTR_JPEG_S>([](auto& r) { r.u32BufSize = 3264 * 2448; })},
    {"VB_Init", In<VB_CONF_S>([](auto& r) { r.astCommPool[0].u32BlkCnt = 17; })},
    {"SYS_SetConf", In<MPP_SYS_CONF_S>([](auto& r) { r.u32AlignWidth = 8; })},
    {"VI_EnableChn", In<VB_CONF_S>([](auto& r) { r.astCommPool[0].u32BlkSize /= 2; })},
};

struct ShootingUnits : MediaUnits {
  // The pictures of a camera, one behind the other, as the encoders from `first` on make them; nothing if none comes.
  std::vector<uint8_t> Shoot(VENC_CHN first) {
    Do([&] {
      StartAll();
      const VENC_RECV_PIC_PARAM_S any = {-1};
      for (VENC_CHN channel = first; channel <= 1; channel++) Ok(HI_MPI_VENC_StartRecvPicEx(channel, &any));
    });
    for (const int camera : {7, 8}) ArriveAndEncode(camera);
    std::vector<uint8_t> taken;
    Do([&] {
      for (VENC_CHN channel = first; channel <= 1; channel++)
        std::ranges::copy(Take(channel), std::back_inserter(taken));
    });
    return taken;
  }
};

TEST(WrongRecord, IsRefusedOrNotSeenOrShowsInThePictures) {
  const std::vector<uint8_t> good = ShootingUnits{}.Shoot(1);
  ASSERT_TRUE(ReadMark(good));
  for (const Wrong& wrong : kWrongs) {
    ShootingUnits units;
    units.spoil = wrong.spoil;
    units.refused = 0;
    const std::vector<uint8_t> picture = units.Shoot(1);
    if (wrong.objection == std::string("unseen")) {
      EXPECT_EQ(units.board.media.counts().unseen, 2u) << &wrong - kWrongs;
      EXPECT_TRUE(picture.empty());
    } else {
      EXPECT_THAT(units.board.Complaints(), Contains(HasSubstr(wrong.objection))) << &wrong - kWrongs;
      const auto objections = units.board.Complaints();
      const bool shows = std::ranges::any_of(objections, [](auto& what) { return what.find("come out") != what.npos; });
      EXPECT_EQ(shows, !picture.empty() && picture != good) << &wrong - kWrongs;
    }
    const std::string how = wrong.objection;
    EXPECT_FALSE((how == "mirrored" || how == "reversed") && ReadMark(picture)) << how;
  }
}

TEST(WrongEnd, OfWhatOthersStillUseIsRefusedOrObjectedTo) {
  const std::pair<const char*, HI_S32 (*)()> ends[] = {
      {"VENC_DestroyChn 0", [] { return HI_MPI_VENC_DestroyChn(0); }},
      {"VPSS_DestroyGrp", [] { return HI_MPI_VPSS_DestroyGrp(0); }},
      {"the ISP ends while the video input", [] { return HI_MPI_ISP_Exit(0); }},
      {"ends while an encoder", [] { return HI_MPI_SYS_Exit(); }},
  };
  for (const auto& [objection, end] : ends) {
    MediaUnits units;
    units.Do([&, &end = end] {
      units.StartAll();
      EXPECT_THAT(units.board.Complaints(), ::testing::IsEmpty());
      end();
    });
    EXPECT_THAT(units.board.Complaints(), Contains(HasSubstr(objection)));
  }
}

// Each call of the way up reports success and does nothing: another one is refused for it, or no picture comes.
TEST(MissingCall, IsNoticed) {
  const auto good = ShootingUnits{}.Shoot(0);
  std::set<std::string> points;
  for (size_t call = 0; call < static_cast<size_t>(MediaCall::Count); call++) {
    points.insert(RowOf(static_cast<MediaCall>(call)).fault);
  }
  // One answers with an address; of what is never given back nothing else suffers here.
  for (const char* point : {"sys.map", "sys.unmap", "venc.release"}) points.erase(point);
  int missing = 0;
  for (const std::string& point : points) {
    for (int nth = 1;; nth++) {
      ShootingUnits units;
      units.refused = 0;
      units.board.faults.Add(point + " silence nth=" + std::to_string(nth));
      const auto pictures = units.Shoot(0);
      if (units.board.faults.Fired() == 0) break;
      EXPECT_TRUE(*units.refused > 0 || pictures != good) << point << " " << nth;
      EXPECT_THAT(units.board.Complaints(), ::testing::IsEmpty()) << "a fault is nobody's mistake";
      missing++;
    }
  }
  EXPECT_EQ(missing, 37);
}

}  // namespace
}  // namespace twin
