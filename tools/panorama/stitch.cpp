#include "tools/panorama/stitch.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <mutex>
#include <numbers>
#include <numeric>
#include <thread>

#include "tools/lumora-shot/calibration.h"
#include "tools/lumora-shot/pictures.h"
#include "tools/panorama/render.h"

namespace panorama {
namespace {

std::string NameOf(int camera, int exposure) {
  return "the full picture of camera " + std::to_string(camera) + ", exposure " + std::to_string(exposure);
}

// The cameras whose calibration makes sense; nothing at the place of another.
std::vector<std::optional<Camera>> CamerasOf(const shot::File& file) {
  const shot::Shot& shot = file.Get();
  const auto rows = shot::ReadCameras(file);
  if (shot.cameras == 0 || rows.empty()) throw NoPanorama("the file holds no calibration");
  if (shot.calibrated < shot.cameras)
    throw NoPanorama("the file calibrates " + std::to_string(shot.calibrated) + " of its " +
                     std::to_string(shot.cameras) + " cameras");
  std::vector<std::optional<Camera>> cameras;
  cameras.reserve(rows.size());
  for (const shot::CameraConf& row : rows) cameras.push_back(Camera::Of(row));
  cameras.resize(static_cast<size_t>(shot.cameras));
  if (std::none_of(cameras.begin(), cameras.end(), [](const auto& camera) { return camera.has_value(); }))
    throw NoPanorama("the file's calibration makes no sense");
  return cameras;
}

// The whole of one panorama while it is made.
class Work {
 public:
  Work(const shot::File& file, const Request& request)
      : file_(file), shot_(file.Get()), request_(request), grid_(request.width), cameras_(CamerasOf(file)) {
    if (shot_.entries.empty()) throw NoPanorama("the file holds no index of pictures");
    FindEyes();
    FindPictures();
    if (!request.levels) {
      std::vector<shot::ExposureSet> sets;
      for (const int exposure : exposures_) sets.push_back(shot_.record.Exposure(exposure));
      bracket_.emplace(sets);
      // A lens's gain may carry light above what fills its sensor.
      scale_.emplace(bracket_->Brightest() * 4);
    }
  }

  Stitched Do() {
    while (true) {
      damaged_ = false;
      Stitched stitched = Attempt();
      if (damaged_) continue;  // then without those that are
      stitched.scale = scale_;
      for (const int exposure : exposures_) stitched.whites.push_back(FullSignalOf(shot_.record.Exposure(exposure)));
      stitched.middle = FullSignalOf(shot_.record.Exposure(shot_.record.MiddleStep()));
      stitched.missing = missing_;
      return stitched;
    }
  }

 private:
  void FindEyes() {
    const Matrix body = BodyFromPanorama(shot_.record, request_.view);
    const auto rows = shot::ReadVignetting(file_);
    const std::array<float, 3> balance = rows.empty() ? std::array<float, 3>{1, 1, 1} : WhiteBalanceOf(rows[0]);
    eyes_.resize(cameras_.size());
    for (size_t k = 0; k < cameras_.size(); k++) {
      const auto vignetting = k < rows.size() ? Vignetting::Of(rows[k], balance) : std::nullopt;
      if (cameras_[k] && vignetting)
        eyes_[k].emplace(Eye{Warp(*cameras_[k], body, grid_), *vignetting});
      else
        missing_.push_back("the calibration of camera " + std::to_string(k));
    }
  }

  void FindPictures() {
    for (int exposure = 0; exposure < shot_.exposures; exposure++)
      if (request_.exposure.value_or(exposure) == exposure) exposures_.push_back(exposure);
    usable_.assign(eyes_.size(), 0);
    for (size_t k = 0; k < eyes_.size(); k++) {
      if (!eyes_[k]) continue;
      std::vector<std::string> absent;
      for (size_t i = 0; i < exposures_.size(); i++) {
        const shot::Place place{shot::PictureSize::Full, static_cast<int>(k), exposures_[i]};
        if (shot_.entries[static_cast<size_t>(shot_.NumberOf(place))].Filled())
          usable_[k] |= 1u << i;
        else
          absent.push_back(NameOf(place.camera, place.exposure));
      }
      if (usable_[k] == 0) absent = {"every full picture of camera " + std::to_string(k)};
      missing_.insert(missing_.end(), absent.begin(), absent.end());
    }
  }

  Stitched Attempt() {
    std::vector<const Warp*> warps(eyes_.size());
    for (size_t k = 0; k < eyes_.size(); k++)
      if (usable_[k] != 0) warps[k] = &eyes_[k]->warp;
    Stitched stitched;
    stitched.seams = std::make_unique<Seams>(warps, grid_);
    std::vector<int> order;
    const auto& windows = stitched.seams->Windows();
    for (size_t k = 0; k < windows.size(); k++)
      if (!windows[k].Empty()) order.push_back(static_cast<int>(k));
    if (order.empty()) throw NoPanorama("the file holds no picture that can be used");
    const auto area = [&](int k) {
      return int64_t{windows[static_cast<size_t>(k)].width} * windows[static_cast<size_t>(k)].height;
    };
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return area(a) > area(b); });

    stitched.canvas = std::make_unique<Canvas>(*stitched.seams, request_.width);
    int done = 0;
    const int all = static_cast<int>(order.size());
    request_.progress(0, all);
    InParallel(all, [&](int i) {
      AddCamera(order[static_cast<size_t>(i)], stitched);
      const std::lock_guard<std::mutex> lock(mutex_);
      request_.progress(++done, all);
    });
    if (!damaged_) stitched.canvas->Close();
    return stitched;
  }

  void AddCamera(int camera, const Stitched& stitched) {
    const auto k = static_cast<size_t>(camera);
    // Half the pixels are enough where the panorama has still fewer.
    const double natural = 2 * std::numbers::pi * eyes_[k]->warp.Focus();
    int reduction = 1;
    while (reduction < 8 && natural / (2 * reduction) >= request_.width) reduction *= 2;
    std::vector<std::unique_ptr<Picture>> pictures(exposures_.size());
    std::vector<const Picture*> present(exposures_.size());
    for (size_t i = 0; i < exposures_.size(); i++)
      if (usable_[k] >> i & 1) {
        pictures[i] = Decode(camera, i, reduction);
        present[i] = pictures[i].get();
      }
    if (damaged_) return;
    const Window& window = stitched.seams->Windows()[k];
    stitched.canvas->Add(camera, scale_ ? RenderRadiance(*eyes_[k], present, *bracket_, *scale_, window)
                                        : RenderLevels(*eyes_[k], *present[0], window));
  }

  // Null if the picture is damaged: then it is told, and used no more.
  std::unique_ptr<Picture> Decode(int camera, size_t exposure, int reduction) {
    shot::Bytes jpeg;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      jpeg = file_.Jpeg(shot::Place{shot::PictureSize::Full, camera, exposures_[exposure]});
    }
    std::string wrong = "it does not lie inside the file";
    try {
      if (!jpeg.empty()) return std::make_unique<Picture>(jpeg, reduction);
    } catch (const shot::BadJpeg& bad) {
      wrong = bad.what();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    damaged_ = true;
    usable_[static_cast<size_t>(camera)] &= ~(1u << exposure);
    missing_.push_back(NameOf(camera, exposures_[exposure]) + " (" + wrong + ")");
    return nullptr;
  }

  const shot::File& file_;
  const shot::Shot& shot_;
  const Request& request_;
  const Grid grid_;
  const std::vector<std::optional<Camera>> cameras_;
  std::vector<std::optional<Eye>> eyes_;
  std::vector<int> exposures_;
  std::vector<unsigned> usable_;  // by camera, a bit for each of exposures_
  std::optional<Bracket> bracket_;
  std::optional<RadianceScale> scale_;
  std::mutex mutex_;  // of all below, and of reading the file
  std::vector<std::string> missing_;
  std::atomic<bool> damaged_ = false;
};

}  // namespace

int WidestOf(const shot::File& file) {
  double focus = 0;
  for (const auto& camera : CamerasOf(file)) focus = std::max(focus, camera ? camera->Focus() : 0);
  const int natural = static_cast<int>(2 * std::numbers::pi * focus);
  return std::max(natural / widthStep * widthStep, narrowest);
}

Stitched Stitch(const shot::File& file, const Request& request) { return Work(file, request).Do(); }

Rows SeenAllRound(const Stitched& stitched) {
  const Layer<uint8_t>& owners = stitched.seams->Owners();
  const auto seen = [&](int y) {
    return std::find(owners.Row(y), owners.Row(y) + owners.Width(), Seams::nobody) == owners.Row(y) + owners.Width();
  };
  Rows best{0, 0};
  for (int begin = 0; begin < owners.Height();) {
    int end = begin;
    while (end < owners.Height() && seen(end)) end++;
    if (end - begin > best.end - best.begin) best = {begin, end};
    begin = end + 1;
  }
  if (best.begin == best.end) best.end = owners.Height();
  return {best.begin * stitched.seams->Step(), best.end * stitched.seams->Step()};
}

void InParallel(int count, const std::function<void(int)>& work) {
  std::atomic<int> next = 0;
  std::exception_ptr thrown;
  std::mutex mutex;
  const auto run = [&] {
    for (int i = next++; i < count; i = next++) try {
        work(i);
      } catch (...) {
        const std::lock_guard<std::mutex> lock(mutex);
        thrown = std::current_exception();
        next = count;
      }
  };
  const int hands =
      std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, std::max(std::min(count, 3), 1));
  std::vector<std::thread> threads;
  for (int i = 1; i < hands; i++) threads.emplace_back(run);
  run();
  for (std::thread& thread : threads) thread.join();
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace panorama
