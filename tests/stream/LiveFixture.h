#pragma once
// Stream states on generated models: models of grid meshes, passes read
// back as records, and a run of passes until the stream is idle.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "store/ModelImpl.h"
#include "stream/ControlFlags.h"
#include "stream/StreamRequest.h"
#include "stream/StreamState.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"
#include "tests/stream/StreamRecords.h"

namespace QX::Store::test {

using Pairs = std::vector<std::pair<uint32_t, uint32_t>>;
using Records = std::vector<ReadRecord>;

inline constexpr uint32_t kLiveFlags = ControlFlag::StreamCulled;

class LiveTest : public qx_store_test::StoreTest {
 protected:
  LiveTest() { sink.chunk_size = 0x20000; }

  static MatrixKey Shifted(Model& model, double x, double y) {
    double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, x, y, 0};
    return model.InsertMatrix(matrix);
  }

  // A model with one instance of an n x n grid per entry of `sizes`, the
  // i-th at x = 10 i; including itself unless `include_self` is false.
  Model GridModel(std::string const& name, std::vector<uint32_t> const& sizes, bool include_self = true,
                  uint32_t instance_flags = 7) {
    Model model = Open(name);
    if (include_self) model.Include(model, 0);
    for (size_t i = 0; i < sizes.size(); ++i) {
      qx_test::TestMesh grid = qx_test::GridMesh(sizes[i]);
      model.InsertInstance(model.InsertMesh(grid.Data()), Shifted(model, 10.0 * double(i), 0), kNoKey, kNoKey,
                           kNoKey, 0, 0, 0, instance_flags, 0, 0, {});
    }
    model.PrepareStream(1);
    return model;
  }

  Records Pass(StreamState& state, StreamRequest const& request) {
    sink.chunks.clear();
    state.Stream(sink, request);
    return ReadRecords(sink.Payloads());
  }

  Records Pass(StreamState& state, RequestKind kind, uint32_t request_id = 0) {
    StreamRequest request;
    request.kind = kind;
    request.request_id = request_id;
    return Pass(state, request);
  }

  // STREAM passes until one reports idle; all their records.
  Records RunUntilIdle(StreamState& state) {
    Records all;
    for (int pass = 0; pass < 200; ++pass) {
      Records const records = Pass(state, RequestKind::Stream);
      all.insert(all.end(), records.begin(), records.end());
      if (sink.status == 2) return all;
    }
    ADD_FAILURE() << "the stream never went idle";
    return all;
  }

  static Records Only(Records const& records, uint32_t tag) {
    Records out;
    std::ranges::copy_if(records, std::back_inserter(out), [&](ReadRecord const& r) { return r.tag == tag; });
    return out;
  }
  static size_t Count(Records const& records, uint32_t tag) {
    return size_t(std::ranges::count_if(records, [&](ReadRecord const& r) { return r.tag == tag; }));
  }

  // The text of a text record or of a live text record, without its zero.
  static std::string TextOf(ReadRecord const& r) {
    size_t const at = r.tag == Tag::LiveText ? 12 : 8;
    return std::string(reinterpret_cast<char const*>(r.bytes.data() + at), r.Word(at / 4 - 1) - 1);
  }

  // The item of a model's instance in its first inclusion.
  static StreamInstance* ItemOf(StreamState& state, Model const& model, InstanceKey key) {
    for (StreamInstance* item : state.items)
      if (item->model == &model.Impl() && item->instance->key == key) return item;
    return nullptr;
  }

  RecordingSink sink;
};

}  // namespace QX::Store::test
