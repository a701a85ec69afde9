#pragma once
// A scene root and a library root of their own and a fresh model for each
// test, with helpers to convert the scene below a path and to read the
// model's tables back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "conversion/SceneConverter.h"
#include "conversion/WalkScene.h"
#include "geometry/mesh/StoredMesh.h"
#include "scene/Database.h"
#include "scene/IncludeKey.h"
#include "scene/KeyPath.h"
#include "scene/MaterialMappingKit.h"
#include "scene/ReferenceKey.h"
#include "scene/ShellKey.h"
#include "store/Cache.h"
#include "store/Instance.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "tests/support/TempDir.h"

namespace qx_conversion_test {

class KeptLines final : public QX::Store::Logger {
 public:
  void Message(char const* text) override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

class ConversionTest : public ::testing::Test {
 protected:
  ConversionTest() : cache_(QX::Store::Cache::Open(nullptr)) {
    model = cache_.OpenModel((dir_.Path() / "model").string().c_str(), false);
  }
  ~ConversionTest() override {
    model = QX::Store::Model();
    root.Delete();
    library.Delete();
  }

  // Converts the scene below `path` (the root alone by default).
  void Convert(KZV::ConverterOptions const& options = {}, KZV::KeyPath const* path = nullptr,
               bool show_progress = false) {
    KZV::KeyPath const start = path ? *path : KZV::KeyPath(KZV::KeyArray{root});
    KZV::SceneConverter converter(KZV::SegmentKey(start.Keys().front()), options, log, model, 1);
    KZV::WalkScene(start, converter, log, show_progress);
  }

  QX::Store::ModelImpl& impl() { return model.Impl(); }
  std::filesystem::path ModelDirectory() const { return dir_.Path() / "model"; }
  // Meshes inserted by the conversion; key 0 is the model's own empty mesh.
  size_t MeshCount() { return impl().meshes.size() - 1; }

  std::vector<QX::Store::Instance const*> Instances() {
    std::vector<QX::Store::Instance const*> out;
    for (auto const& entry : impl().instances) out.push_back(&entry.value);
    return out;
  }

  QX::Store::StoredMesh const& Mesh(QX::Store::MeshKey key) {
    QX::Store::MeshRecord const* record = impl().FindMesh(key);
    EXPECT_NE(nullptr, record);
    stored_.Clear();
    EXPECT_TRUE(record && QX::Store::ReadStoredMesh(*impl().meshes_file, *record, stored_));
    return stored_;
  }

  std::vector<uint32_t> Words(QX::Store::ElementList const& list, uint32_t element) {
    auto span = list[element];
    return {span.begin(), span.end()};
  }

  KZV::SegmentKey root = KZV::Database::CreateRootSegment("root");
  KZV::SegmentKey library = KZV::Database::CreateRootSegment("library");
  KeptLines log;
  QX::Store::Model model;

 private:
  qx_test::TempDir dir_;
  QX::Store::Cache cache_;
  QX::Store::StoredMesh stored_;
};

// A unit square in the z = 0 plane, as one quad.
inline KZV::ShellKey InsertSquare(KZV::SegmentKey const& segment) {
  return segment.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {4, 0, 1, 2, 3});
}

}  // namespace qx_conversion_test
