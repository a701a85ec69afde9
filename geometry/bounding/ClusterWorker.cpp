#include "geometry/bounding/ClusterWorker.h"

#include <random>

#include "geometry/bounding/ClusterSolver.h"

namespace QX::Store {

std::vector<ClusterSolution> SolveTasks(std::vector<ClusterTask> const& tasks, float threshold,
                                 uint32_t thread, SeedSource const& seed) {
  std::random_device platform;
  std::vector<ClusterSolution> solutions;
  solutions.reserve(tasks.size());
  for (uint64_t i = 0; i < tasks.size(); ++i) {
    uint32_t const s = seed ? seed(thread, i) : platform();
    solutions.push_back(ClusterSolver(tasks[i], threshold, s).Solve());
  }
  return solutions;
}

ClusterWorker::ClusterWorker(float threshold, uint32_t index, SeedSource const& seed)
    : threshold_(threshold), index_(index), seed_(seed), thread_([this] { Run(); }) {}

ClusterWorker::~ClusterWorker() { Stop(); }

void ClusterWorker::Deliver(Mail mail) {
  std::unique_lock lock(mutex_);
  emptied_.wait(lock, [this] { return empty_; });
  mailbox_ = std::move(mail);
  empty_ = false;
  full_.notify_one();
}

ClusterWorker::Mail ClusterWorker::Take() {
  std::unique_lock lock(mutex_);
  full_.wait(lock, [this] { return !empty_; });
  Mail mail = std::move(mailbox_);
  empty_ = true;
  emptied_.notify_one();
  return mail;
}

std::future<std::vector<ClusterSolution>> ClusterWorker::Post(std::vector<ClusterTask> const* tasks) {
  Mail mail;
  mail.tasks = tasks;
  auto future = mail.promise.get_future();
  Deliver(std::move(mail));
  return future;
}

void ClusterWorker::Stop() {
  if (!thread_.joinable()) return;
  Deliver(Mail{});
  thread_.join();
}

void ClusterWorker::Run() {
  for (;;) {
    Mail mail = Take();
    if (!mail.tasks) return;
    try {
      mail.promise.set_value(SolveTasks(*mail.tasks, threshold_, index_, seed_));
    } catch (...) {
      mail.promise.set_exception(std::current_exception());
    }
  }
}

}  // namespace QX::Store
