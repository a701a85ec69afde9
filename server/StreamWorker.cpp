#include "server/StreamWorker.h"

#include <chrono>

#include "server/LiveSession.h"
#include "store/Cache.h"
#include "store/Model.h"

namespace QX::Server {

struct StreamWorker::Slot {
  std::shared_ptr<SessionChannel> channel;
  std::unique_ptr<LiveSession> session;
};

StreamWorker::StreamWorker(std::string model_path, Store::Logger* logger)
    : model_path_(std::move(model_path)),
      logger_(logger),
      signal_(std::make_shared<Signal>()),
      thread_([this] { Run(); }) {}

StreamWorker::~StreamWorker() {
  {
    std::lock_guard lock(lock_);
    stop_ = true;
  }
  signal_->Wake();
  thread_.join();
}

void StreamWorker::Add(std::shared_ptr<SessionChannel> channel) {
  channel->SetWake([signal = signal_] { signal->Wake(); });
  {
    std::lock_guard lock(lock_);
    incoming_.push_back(std::move(channel));
    ++load_;
  }
  signal_->Wake();
}

size_t StreamWorker::Load() const {
  std::lock_guard lock(lock_);
  return load_;
}

void StreamWorker::Signal::Wake() {
  {
    std::lock_guard guard(lock);
    rung = true;
  }
  ring.notify_one();
}

void StreamWorker::WaitForWork() {
  std::unique_lock lock(signal_->lock);
  // The timeout only guards against a lost wake-up; all news rings.
  signal_->ring.wait_for(lock, std::chrono::milliseconds(200), [this] { return signal_->rung; });
  signal_->rung = false;
}

void StreamWorker::Run() {
  std::vector<Slot> slots;
  std::string failure;
  try {
    Store::Cache cache = Store::Cache::Open(logger_);
    Store::Model model = cache.OpenModel(model_path_.c_str(), true);
    for (;;) {
      {
        std::lock_guard lock(lock_);
        if (stop_) break;
        for (auto& channel : incoming_) slots.push_back({std::move(channel), nullptr});
        incoming_.clear();
      }
      for (Slot& slot : slots) {
        if (slot.session || slot.channel->Closed()) continue;
        try {
          slot.session = std::make_unique<LiveSession>(model, *slot.channel);
        } catch (std::exception const& error) {
          slot.channel->Fail(std::string("the stream can't start: ") + error.what());
        }
      }
      if (!Round(slots)) WaitForWork();
    }
    slots.clear();  // the sessions go before the cache
  } catch (std::exception const& error) {
    failure = error.what();
  }
  // Without a model nobody can be served: everyone waiting is told why.
  for (Slot& slot : slots) slot.channel->Fail("the server can't stream the model: " + failure);
  std::lock_guard lock(lock_);
  for (auto& channel : incoming_) channel->Fail("the server can't stream the model: " + failure);
}

// One pass for each session with work that flow control lets through.
// Closed sessions go. Returns whether any pass ran.
bool StreamWorker::Round(std::vector<Slot>& slots) {
  bool ran = false;
  for (size_t i = 0; i < slots.size();) {
    Slot& slot = slots[i];
    SessionWork work;
    if (slot.channel->Closed()) {
      slot.session.reset();
      slots.erase(slots.begin() + ptrdiff_t(i));
      std::lock_guard lock(lock_);
      --load_;
      continue;
    }
    if (slot.channel->Take(slot.session->Streaming(), work)) {
      ran = true;
      try {
        slot.session->Run(std::move(work));
      } catch (std::exception const& error) {
        slot.channel->Fail(std::string("the stream failed: ") + error.what());
      }
    }
    ++i;
  }
  return ran;
}

}  // namespace QX::Server
