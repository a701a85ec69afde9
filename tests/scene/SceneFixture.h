#pragma once
// A root segment of its own for each test, deleted at the end.
#include <gtest/gtest.h>

#include "scene/Database.h"

class SceneTest : public ::testing::Test {
 protected:
  void TearDown() override { root.Delete(); }
  KZV::SegmentKey root = KZV::Database::CreateRootSegment("root");
};
