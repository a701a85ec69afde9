#include "stream/Priorities.h"

#include <cmath>

#include "geometry/bounding/FrustumPlanes.h"
#include "stream/PriorityBuckets.h"
#include "stream/StreamItems.h"
#include "stream/ViewState.h"

namespace QX::Store {

namespace {

// What a camera makes of a box: whether it can be seen, how large it is and
// how much its place on the screen counts.
class ScreenMeasure {
 public:
  explicit ScreenMeasure(ViewState const& view) {
    Matrix4f const m = Multiply(view.projection_matrix, view.view_matrix);
    planes_ = MakeFrustumPlanes(m);
    w_row_ = {m[3], m[7], m[11], m[15]};
    eye_ = {float(view.position[0]), float(view.position[1]), float(view.position[2])};
    float const d[3] = {float(view.target[0]) - eye_.x, float(view.target[1]) - eye_.y,
                        float(view.target[2]) - eye_.z};
    float const length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    inverse_ = 1.0f / (length > 1e-7f ? length : 1e-7f);
    direction_ = {d[0] * inverse_, d[1] * inverse_, d[2] * inverse_};
    centred_counts_ = view.projection != Projection::Orthographic;
  }

  // Size × view factor × weight of a visible box above the cutoff, else 0.
  template <class Shape>
  float Priority(Shape const& s, float cutoff) const {
    if (!BoxInFrustum(planes_, s.centre, s.half)) return 0;
    float const size = ScreenSize(s.centre, s.half);
    if (!(size > cutoff)) return 0;
    return size * ViewFactor(s.centre) * s.weight;
  }

 private:
  float ScreenSize(Point const& c, Point const& h) const {
    float const w = w_row_[0] * c.x + w_row_[1] * c.y + w_row_[2] * c.z + w_row_[3];
    float const w2 = w * w;
    return (h.x * h.x + h.y * h.y + h.z * h.z) / (w2 > 1e-5f ? w2 : 1e-5f);
  }

  // Near and central boxes count more; orthographic views ignore the centring.
  float ViewFactor(Point const& c) const {
    float const v[3] = {c.x - eye_.x, c.y - eye_.y, c.z - eye_.z};
    float const along = v[0] * direction_.x + v[1] * direction_.y + v[2] * direction_.z;
    float const depth = 1.0f / (along * inverse_ + 1e-5f);
    float factor = std::pow(depth, 6.0f);
    if (centred_counts_) {
      float const length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
      float const centred = along / length;
      factor *= 5.0f * std::pow(centred, 10.0f);
    }
    return factor > 1e-5f ? factor : 1e-5f;
  }

  FrustumPlanes planes_;
  std::array<float, 4> w_row_{};
  Point eye_;
  Point direction_;
  float inverse_ = 1;
  bool centred_counts_ = true;
};

TreeNodeEntry& NodeOf(StreamInstance const& item) { return item.attached->nodes[item.node]; }

// Priorities under the camera. Returns the highest; sets `any_pinned`.
float CameraPriorities(ViewState const& view, bool stream_culled,
                       std::span<StreamInstance* const> list, bool& any_pinned) {
  float const cutoff = stream_culled ? 0.0f : ProjectedPixel(view.projection_matrix, 0.0125f) *
                                                   view.cutoff_scale;
  ScreenMeasure const measure(view);
  float high = 0;
  for (StreamInstance* item : list) {
    item->priority = 0;
    if (item->flags.classes == 0) continue;
    if (item->flags.pinned) any_pinned = true;
    if (cutoff > 0) {
      TreeNodeEntry& node = NodeOf(*item);
      if (node.frame != view.frame_serial) {
        node.priority = measure.Priority(node, cutoff);
        node.frame = view.frame_serial;
      }
      if (node.priority == 0) continue;
    }
    item->priority = measure.Priority(*item, cutoff);
    if (item->priority > high) high = item->priority;
  }
  return high;
}

// Without a camera the squared diagonal decides.
float SizePriorities(std::span<StreamInstance* const> list) {
  float high = 0;
  for (StreamInstance* item : list) {
    item->priority = item->flags.classes != 0 ? item->diagonal2 : 0.0f;
    if (item->priority > high) high = item->priority;
  }
  return high;
}

void FillQueue(std::span<StreamInstance* const> list, float high, PriorityBuckets& queue) {
  float low = high;
  for (StreamInstance const* item : list)
    if (item->priority > 0 && item->priority < low) low = item->priority;
  if (low == high) {
    if (high != 0)
      low *= 0.99f;
    else
      high = 0.1f;
  }
  queue.Reset();
  queue.SetRange(high, low);
  for (StreamInstance* item : list) queue.Push(item, item->priority);
}

}  // namespace

void BuildPriorities(ViewState& view, bool stream_culled, bool mark_all,
                     std::span<StreamInstance* const> list, PriorityBuckets* queue) {
  float high = 0;
  bool any_pinned = false;
  if (view.frustum_valid) high = CameraPriorities(view, stream_culled, list, any_pinned);
  // A culled stream in which nothing is visible falls back to sizes.
  if (!view.frustum_valid || (stream_culled && high == 0)) high = SizePriorities(list);
  if (queue == nullptr) return;

  view.cutoff_priority = -1.0f;
  if (any_pinned || mark_all) {
    float const lift = high + 1;
    for (StreamInstance* item : list)
      if (mark_all || item->flags.pinned) item->priority += lift;
    high = 2 * high + 1;
  }
  FillQueue(list, high, *queue);
}

}  // namespace QX::Store
