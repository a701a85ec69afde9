#pragma once
// An extra clustering thread. It waits at its mailbox for a task list, solves
// every task of it and hands the solutions back through a promise. A null
// list ends it.
#include <condition_variable>
#include <cstdint>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "geometry/bounding/ClusterRater.h"
#include "geometry/bounding/ClusterTask.h"
#include "geometry/bounding/ClusterTree.h"

namespace QX::Store {

// Solves all tasks in order, each with a fresh solver.
std::vector<ClusterSolution> SolveTasks(std::vector<ClusterTask> const& tasks, float threshold,
                                 uint32_t thread, SeedSource const& seed);

class ClusterWorker {
 public:
  ClusterWorker(float threshold, uint32_t index, SeedSource const& seed);
  ~ClusterWorker();  // ends the thread if Stop wasn't called
  ClusterWorker(ClusterWorker const&) = delete;
  ClusterWorker& operator=(ClusterWorker const&) = delete;

  // Hands the list over, waiting while the mailbox is full. The list must
  // stay unchanged until the future is ready.
  std::future<std::vector<ClusterSolution>> Post(std::vector<ClusterTask> const* tasks);
  void Stop();

 private:
  struct Mail {
    std::vector<ClusterTask> const* tasks = nullptr;
    std::promise<std::vector<ClusterSolution>> promise;
  };

  void Deliver(Mail mail);
  Mail Take();
  void Run();

  float threshold_;
  uint32_t index_;
  SeedSource const& seed_;
  std::mutex mutex_;
  std::condition_variable full_;
  std::condition_variable emptied_;
  Mail mailbox_;
  bool empty_ = true;
  std::thread thread_;
};

}  // namespace QX::Store
