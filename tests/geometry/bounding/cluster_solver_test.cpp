#include "geometry/bounding/ClusterSolver.h"

#include <gtest/gtest.h>

#include "TreeTestSupport.h"

namespace QX::Store {
namespace {

ClusterTask TaskOf(test::ItemSet& set) {
  BoundingNode node;
  for (auto* item : set.pointers) node.items.push_back(item);
  std::vector<ClusterTask> tasks;
  CollectTasks(node, 0, tasks);
  ClusterTask task = std::move(tasks.at(0));
  task.node = nullptr;
  return task;
}

// One box of height 2: five samples at z 0, five at z 2, five at z 1.
ClusterTask OneBoxTask() {
  BoundingItem item{1, 2000, {0, 0, 0, 1, 1, 2}};
  BoundingItem other{2, 2000, {50, 50, 50, 51, 51, 52}};
  BoundingNode node;
  node.items = {&item, &other};
  std::vector<ClusterTask> tasks;
  CollectTasks(node, 0, tasks);
  return std::move(tasks.at(0));
}

TEST(ClusterSolver, AMajorityOfEightSamplesPlacesABox) {
  ClusterTask const task = OneBoxTask();
  ClusterSolver solver(task, 1.0f, 1);
  auto& c = solver.centroids();
  for (auto& centroid : c) centroid = {1000, 1000, 1000};
  c[2] = {0.5f, 0.5f, 0.0f};   // bottom five, and the middle five on a tie
  c[4] = {0.5f, 0.5f, 2.0f};   // top five
  c[6] = {50.5f, 50.5f, 51};   // the other box
  solver.Assign();
  ClusterSolution s;
  solver.Vote(s);
  EXPECT_EQ(s.lists[2], (std::vector<uint32_t>{0}));
  EXPECT_EQ(s.lists[6], (std::vector<uint32_t>{1}));

  c[5] = {0.5f, 0.5f, 1.0f};  // takes the middle five: no cluster reaches 8
  solver.Assign();
  solver.Vote(s);
  EXPECT_EQ(s.lists[7], (std::vector<uint32_t>{0}));
  EXPECT_EQ(s.lists[6], (std::vector<uint32_t>{1}));
  EXPECT_TRUE(s.lists[2].empty());
}

TEST(ClusterSolver, SameSeedSameSolutionAndEveryBoxInOneList) {
  auto set = test::ClusteredItems(400, 9);
  ClusterTask const task = TaskOf(set);
  for (uint32_t seed : {1u, 2u, 12345u}) {
    ClusterSolution const a = ClusterSolver(task, 0.5f, seed).Solve();
    ClusterSolution const b = ClusterSolver(task, 0.5f, seed).Solve();
    EXPECT_EQ(a.lists, b.lists);
    EXPECT_EQ(a.rating, b.rating);
    EXPECT_LT(a.rating, std::numeric_limits<float>::max());
    std::vector<int> seen(task.boxes.size());
    for (auto const& list : a.lists) {
      for (uint32_t box : list) ++seen.at(box);
    }
    EXPECT_EQ(seen, std::vector<int>(task.boxes.size(), 1));
  }
}

}  // namespace
}  // namespace QX::Store
