#pragma once
// A thread that streams to its share of the viewers. It has its own cache
// with the model opened read-only, since the store is single-threaded: no
// cache or model is ever touched by two threads. Each of its sessions gets
// at most one pass per round, so a busy viewer can't starve the others.
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "server/SessionChannel.h"

namespace QX::Store {
class Logger;
}

namespace QX::Server {

class StreamWorker {
 public:
  // `logger` receives the engine's lines from this thread; it may be null.
  StreamWorker(std::string model_path, Store::Logger* logger);
  ~StreamWorker();
  StreamWorker(StreamWorker const&) = delete;
  StreamWorker& operator=(StreamWorker const&) = delete;

  // Gives a new viewer to this worker.
  void Add(std::shared_ptr<SessionChannel> channel);
  // Viewers that this worker streams to now.
  size_t Load() const;

 private:
  struct Slot;
  // The worker's alarm; channels hold it shared, so that a connection that
  // outlives the worker rings nobody.
  struct Signal {
    std::mutex lock;
    std::condition_variable ring;
    bool rung = false;
    void Wake();
  };
  void Run();
  bool Round(std::vector<Slot>& slots);
  void WaitForWork();

  std::string const model_path_;
  Store::Logger* const logger_;
  std::shared_ptr<Signal> const signal_;
  mutable std::mutex lock_;  // guards the three below
  std::vector<std::shared_ptr<SessionChannel>> incoming_;
  size_t load_ = 0;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace QX::Server
