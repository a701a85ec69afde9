#include "geometry/bounding/BoundingTree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

#include "TreeTestSupport.h"
#include "files/DiskFile.h"
#include "geometry/bounding/BoundingTreeFile.h"

namespace QX::Store {
namespace {

TEST(BoundingTree, MadeOverValidItemsAndReadBackFromAFile) {
  auto set = test::ClusteredItems(3000, 19);
  set.items[5].bounds = BoundingBox{};
  auto tree = MakeBoundingTree(set.items, {2, nullptr});
  ASSERT_TRUE(tree && tree->root);
  size_t count = 0;
  BoundingBox united;
  VisitTree(*tree->root, kRootPath, 0, [&](uint64_t, BoundingBox const&, std::span<BoundingItem* const> items) {
    for (auto const* item : items) {
      ++count;
      Unite(united, item->bounds);
      EXPECT_TRUE(item >= tree->items.data() && item < tree->items.data() + tree->items.size());
    }
  });
  EXPECT_EQ(count, 2999u);
  EXPECT_TRUE(Contains(tree->root->bounds, united));

  std::vector<uint8_t> bytes;
  WriteTree(*tree->root, bytes);
  auto const path = std::filesystem::temp_directory_path() /
                    ("bounding_tree_" + std::to_string(::getpid()) + ".qxd");
  {
    DiskFile out(path);
    out.OpenWrite(true, true);
    ASSERT_EQ(out.Write(bytes.data(), bytes.size()), bytes.size());
  }
  std::vector<BoundingItem> blank;
  for (auto const& item : set.items) blank.push_back({item.key, 0, BoundingBox{}});
  DiskFile in(path);
  in.OpenRead(false);
  BoundingBox root_box;
  ASSERT_TRUE(ReadRootBox(in, root_box));
  EXPECT_TRUE(Contains(root_box, united) && Contains(united, root_box));
  auto read = ReadBoundingTree(in, blank);
  ASSERT_TRUE(read);
  for (size_t i = 0; i < set.items.size(); ++i) {
    EXPECT_EQ(read->items[i].bounds, set.items[i].bounds);
    EXPECT_EQ(read->items[i].weight, i == 5 ? 0u : set.items[i].weight);
  }
  blank.pop_back();  // a key of the file that the model doesn't know
  EXPECT_FALSE(ReadBoundingTree(in, blank));
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace QX::Store
