// The image step of stream preparation on several threads. The model's
// thread reads each image and writes its blocks and toc record in the order
// of the image table; it and the workers compute the blocks in between, each
// into a scratch of its own. At most one image a thread is in flight, so memory
// grows with the thread count, not with the number of images.
#include <cstdio>
#include <deque>
#include <future>

#include "files/Cores.h"
#include "geometry/image/StreamImage.h"
#include "store/Logger.h"

namespace QX::Store {
namespace {

void LogOptimized(Logger* log, size_t count, std::chrono::steady_clock::time_point start) {
  if (log == nullptr) return;
  auto const ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now() - start)
                      .count();
  char line[96];
  if (count == 1) {
    std::snprintf(line, sizeof line, "Optimized 1 stream image in %u ms.", unsigned(ms));
  } else {
    std::snprintf(line, sizeof line, "Optimized %u stream images in %u ms.", unsigned(count),
                  unsigned(ms));
  }
  log->Message(line);
}

class ImageQueue {
 public:
  ImageQueue(StreamImageScratch& first, uint32_t effort, StreamImageModel& model, unsigned threads)
      : first_(first), more_(threads - 1), effort_(effort), model_(model), lanes_(threads) {}

  void Add(ImageRecord& image) {
    if (running_.size() == lanes_) WriteOldest();
    bool const own = started_ % lanes_ == 0;
    StreamImageScratch& scratch = Lane(started_++);
    ReadStreamImage(image, scratch, model_);
    // The first lane is the model's thread, which computes its image while
    // it waits for the workers: one thread fewer, and a single image is
    // computed where it was read.
    auto const policy = own ? std::launch::deferred : std::launch::async;
    uint32_t const key = image.key, effort = effort_;
    running_.push_back({&image, own,
                        std::async(policy, [&scratch, key, effort] { ComputeStreamImage(key, scratch, effort); })});
  }

  void Finish() {
    while (!running_.empty()) WriteOldest();
  }

 private:
  struct Job {
    ImageRecord* image;
    bool own;  // computed on the model's thread
    std::future<void> done;
  };

  StreamImageScratch& Lane(size_t index) {
    size_t const lane = index % lanes_;
    return lane == 0 ? first_ : more_[lane - 1];
  }

  // A worker's failure (out of memory) is thrown here, on the model's thread.
  void WriteOldest() {
    for (Job& pending : running_) {
      if (pending.own) pending.done.wait();  // runs it, unless it ran already
    }
    Job& job = running_.front();
    job.done.get();
    WriteStreamImage(*job.image, Lane(written_++), model_);
    running_.pop_front();
  }

  StreamImageScratch& first_;
  std::vector<StreamImageScratch> more_;
  uint32_t const effort_;
  StreamImageModel& model_;
  size_t const lanes_;
  // Destroyed before the scratches: the future of a running worker waits
  // for it, so that no worker outlives its scratch when a write throws.
  std::deque<Job> running_;
  size_t started_ = 0;
  size_t written_ = 0;
};

}  // namespace

void OptimizeStreamImages(KeyTable<ImageRecord>& images, StreamImageScratch& scratch,
                          uint32_t effort, StreamImageModel& model,
                          std::chrono::steady_clock::time_point start, unsigned threads) {
  if (images.empty()) return;
  unsigned const lanes = threads ? threads : UsableCores();
  ImageQueue queue(scratch, effort, model, lanes);
  for (auto& entry : images) {
    ImageRecord& image = entry.value;
    if (image.duplicate_of != 0 || !image.toc.empty()) continue;
    if (model.IsReadOnly()) {
      image.toc.push_back(kNoImageData);
      continue;
    }
    queue.Add(image);
  }
  queue.Finish();
  LogOptimized(model.Log(), images.size(), start);
}

}  // namespace QX::Store
