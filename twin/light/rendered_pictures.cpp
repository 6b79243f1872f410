#include "twin/light/rendered_pictures.h"

#include <algorithm>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <thread>

#include "twin/light/frame_maker.h"

namespace twin {
namespace {

constexpr int workers = 2;
constexpr size_t framesAhead = 8;  // made and not yet asked for, at most
constexpr size_t framesKept = 16;  // in all; about 4 MB each

bool Same(const StoredFrame& a, const StoredFrame& b) {
  return a.camera == b.camera && a.bracket == b.bracket && a.shot == b.shot && a.seconds == b.seconds &&
         a.gain == b.gain && a.mirror == b.mirror && a.flip == b.flip && a.light == b.light && a.stance == b.stance;
}

class RenderedPictures final : public PictureSource {
 public:
  RenderedPictures(std::unique_ptr<World> world, std::vector<Lens> lenses, double light, uint64_t seed)
      : maker_(std::move(world), std::move(lenses), light, seed) {}

  ~RenderedPictures() override {
    {
      const std::lock_guard lock(mutex_);
      quit_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }

  const World* Surroundings() const override { return &maker_.Lit(); }

  double MeanSignal(int camera, double exposure) override { return maker_.MeanSignal(camera, exposure, HeldAs()); }

  Jpeg Encode(const StoredFrame& frame, PictureSize size, int quality) override {
    std::unique_lock lock(mutex_);
    quality_[size] = quality;
    Work* work = Find(frame);
    if (!work) work = &works_.emplace_back(Work{.frame = frame});
    work->asked = true;
    changed_.wait(lock, [&] { return !work->busy; });
    if (!work->made.contains({size, quality})) Make(*work, {{size, quality}}, desk_, lock);
    const Jpeg jpeg = work->made.at({size, quality});
    Forget();
    changed_.notify_all();  // there may be room ahead
    return jpeg;
  }

  void ReadOut(const StoredFrame& frame, std::span<uint16_t> levels) override { maker_.ReadOut(frame, levels); }

  void Prefetch(const std::vector<StoredFrame>& frames) override {
    const std::lock_guard lock(mutex_);
    // What was announced before and never asked for is not wanted any more.
    for (Work& work : works_) work.asked = true;
    works_.remove_if([](const Work& work) { return !work.busy && work.made.empty(); });
    for (const StoredFrame& frame : frames) {
      if (Work* known = Find(frame)) {
        if (known->made.empty() && !known->busy) known->asked = false;
      } else {
        works_.emplace_back(Work{.frame = frame});
      }
    }
    Forget();
    while (threads_.size() < workers) threads_.emplace_back([this] { RunAhead(); });
    changed_.notify_all();
  }

 private:
  using Form = std::pair<PictureSize, int>;  // and its quality

  struct Work {
    StoredFrame frame;
    bool busy = false;   // a thread is at it; nobody else touches it
    bool asked = false;  // Encode has wanted it, or it is no longer wanted
    std::shared_ptr<const Planes> planes{};
    std::map<Form, Jpeg> made{};
  };

  Work* Find(const StoredFrame& frame) {
    const auto at = std::find_if(works_.begin(), works_.end(), [&](const Work& w) { return Same(w.frame, frame); });
    return at == works_.end() ? nullptr : &*at;
  }

  // Makes the forms that are missing, with the lock released meanwhile.
  void Make(Work& work, const std::vector<Form>& forms, EncoderDesk& desk, std::unique_lock<std::mutex>& lock) {
    work.busy = true;
    auto planes = work.planes;
    const StoredFrame frame = work.frame;
    lock.unlock();
    if (!planes) planes = maker_.Expose(frame);
    std::vector<Jpeg> jpegs;
    for (const auto& [size, quality] : forms) jpegs.push_back(maker_.Encode(frame, *planes, size, quality, desk));
    lock.lock();
    for (size_t i = 0; i < forms.size(); i++) work.made[forms[i]] = jpegs[i];
    // Mostly the other size is asked for next; with both made the planes have done their duty.
    work.planes = work.made.size() < 2 ? planes : nullptr;
    work.busy = false;
    changed_.notify_all();
  }

  void RunAhead() {
    EncoderDesk desk;
    std::unique_lock lock(mutex_);
    for (;;) {
      Work* next = nullptr;
      changed_.wait(lock, [&] { return quit_ || (next = NextAhead()) != nullptr; });
      if (quit_) return;
      Make(*next, {{PictureSize::Full, quality_[PictureSize::Full]}, {PictureSize::Half, quality_[PictureSize::Half]}},
           desk, lock);
    }
  }

  // The first announced frame that nobody has begun, if there is room for one more.
  Work* NextAhead() {
    size_t ahead = 0;
    for (const Work& work : works_) ahead += !work.asked && (work.busy || !work.made.empty());
    if (ahead >= framesAhead) return nullptr;
    const auto at = std::find_if(works_.begin(), works_.end(),
                                 [](const Work& work) { return !work.asked && !work.busy && work.made.empty(); });
    return at == works_.end() ? nullptr : &*at;
  }

  // Drops the oldest frames that were asked for.
  void Forget() {
    size_t kept = 0;
    for (auto work = works_.rbegin(); work != works_.rend(); ++work) {
      if (work->asked && !work->busy && ++kept > framesKept - framesAhead) work->made.clear(), work->planes.reset();
    }
    works_.remove_if([](const Work& work) { return work.asked && !work.busy && work.made.empty(); });
  }

  FrameMaker maker_;
  EncoderDesk desk_;  // of the thread that calls Encode
  std::mutex mutex_;
  std::condition_variable changed_;
  // Under the mutex.
  std::list<Work> works_;  // in the order of their announcement
  std::map<PictureSize, int> quality_{{PictureSize::Full, 95}, {PictureSize::Half, 85}};
  bool quit_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace

std::unique_ptr<PictureSource> MakeRenderedPictures(const std::filesystem::path& scene,
                                                    const std::filesystem::path& conf,
                                                    const std::filesystem::path& vignet, double light, uint64_t seed) {
  std::unique_ptr<World> world = scene.empty() ? MakeRoom(seed) : LoadEquirect(scene);
  return std::make_unique<RenderedPictures>(std::move(world), LoadLenses(conf, vignet), light, seed);
}

}  // namespace twin
