// Images: a preview level first where one exists, the full level when the
// queue has run dry, and stored bytes built into an E block where the model
// keeps no stream form.
#include <algorithm>
#include <limits>

#include "store/ImageRecord.h"
#include "store/ModelImpl.h"
#include "store/PagedFile.h"
#include "stream/AssetRecords.h"
#include "stream/AssetSending.h"
#include "stream/ControlFlags.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

constexpr uint32_t kMissingImageData = KeyKind::NoData | KeyKind::Image;

bool Valid(ImageTocEntry const& e) { return e.size != 0 && e.size != ~uint32_t{0}; }

ImageTocEntry const* FindLevel(ImageRecord const& image, bool preview) {
  for (ImageTocEntry const& e : image.toc) {
    if (preview ? e.kind == kImageTocPreview
                : (e.kind == kImageTocMain || e.kind == kImageTocStored))
      return &e;
  }
  return nullptr;
}

ImageSendState& SendStateOf(StreamState& state, ModelImpl& model, ImageRecord const& image) {
  auto [it, fresh] = state.image_progress.try_emplace(&image);
  if (fresh) {
    it->second.model = &model;
    state.image_order.push_back(&image);
  }
  return it->second;
}

void SendStoredImage(StreamState& state, ModelImpl& model, ImageRecord const& image,
                     ImageTocEntry const& entry) {
  ImagePixels pixels;
  if (!model.ReadImage(image, pixels))
    return state.output.ReportMissing(state.StreamIdOf(model), image.key, kMissingImageData);
  state.output.WriteModelContext(state.StreamIdOf(model));
  WriteStoredImage(state.output.Buffer(), image.key, entry.format, pixels);
}

// Size on the screen, in pixels, of the item's sphere; 0 without a view.
float ScreenSize(StreamState const& state, StreamInstance const& item) {
  ViewState const& v = state.view;
  if (!v.frustum_valid) return std::numeric_limits<float>::max();
  auto const& m = v.view_matrix;
  float const z = m[2] * item.centre.x + m[6] * item.centre.y + m[10] * item.centre.z + m[14];
  auto const& p = v.projection_matrix;
  float const r = item.radius;
  float const x = p[0] * r + p[4] * r + p[8] * z + p[12];
  float const y = p[1] * r + p[5] * r + p[9] * z + p[13];
  float const w = p[3] * r + p[7] * r + p[11] * z + p[15];
  if (w == 0) return 0;
  return std::max(x / w * float(v.screen_width), y / w * float(v.screen_height));
}

// The order key of an image that waits for its full level; false to pass it over.
bool UpgradeKey(StreamState const& state, ImageSendState const& s, float& key) {
  if (s.users.empty()) {
    key = std::numeric_limits<float>::max();
    return true;
  }
  StreamInstance const* top = nullptr;
  for (StreamInstance const* user : s.users)
    if (user->flags.instance_sent && user->priority > 0 && (!top || user->priority > top->priority))
      top = user;
  if (top == nullptr) return false;
  if (state.control_flags & ControlFlag::NoStreamLimit) {
    key = top->priority;
    return true;
  }
  key = ScreenSize(state, *top);
  return key > 64.0f;
}

}  // namespace

void SendImage(StreamState& state, ModelImpl& model, ImageKey key) {
  if (!state.sent.images.insert(ObjectId(model.id, key)).second) return;
  uint32_t const stream_model = state.StreamIdOf(model);
  ImageRecord const* image = model.images.Find(key);
  if (image == nullptr) {
    state.Log("Request for unknown ImageID (%u,%u)", stream_model, key);
    return state.output.ReportMissing(stream_model, key, KeyKind::Image);
  }
  if (image->duplicate_of != 0) {
    SendImage(state, model, image->duplicate_of);
    state.output.WriteModelContext(stream_model);
    WriteImageReuse(state.output.Buffer(), key, image->duplicate_of);
  }
  bool const has_level = std::any_of(image->toc.begin(), image->toc.end(), [](auto const& e) {
    return e.offset != ~uint64_t{0} && e.size != ~uint32_t{0};
  });
  // A reused image has no levels of its own: it is reported as missing
  // data after its g, and the viewer keeps the pixels that g gave it.
  if (has_level) return SendImageLevel(state, model, *image, true);
  state.Log("Request for unknown ImageID (%u , %u)", stream_model, key);
  state.output.ReportMissing(stream_model, key, kMissingImageData);
}

void SendImageLevel(StreamState& state, ModelImpl& model, ImageRecord const& image,
                    bool want_preview) {
  ImageSendState& s = SendStateOf(state, model, image);
  ImageTocEntry const* entry = nullptr;
  if (want_preview) {
    if (s.preview_sent) return;
    entry = FindLevel(image, true);
    if (entry != nullptr) {
      if (!s.main_sent) ++state.counters.waiting_images;
      s.preview_sent = true;
    }
  }
  if (entry == nullptr) {
    if (s.main_sent) return;
    entry = FindLevel(image, false);
    if (s.preview_sent) --state.counters.waiting_images;
    s.main_sent = true;
  }
  ++state.counters.images_sent;
  uint32_t const stream_model = state.StreamIdOf(model);
  if (entry == nullptr) return state.output.ReportMissing(stream_model, image.key, kMissingImageData);
  if (entry->kind == kImageTocStored) return SendStoredImage(state, model, image, *entry);
  if (!Valid(*entry)) return;
  if (!AppendStoredRecord(state, model, *model.stream_image_pages, entry->offset, entry->size))
    state.output.ReportMissing(stream_model, image.key, kMissingImageData);
}

void UpgradeImages(StreamState& state, uint64_t budget) {
  std::vector<std::pair<float, ImageRecord const*>> list;
  for (ImageRecord const* image : state.image_order) {
    ImageSendState const& s = state.image_progress.at(image);
    float key = 0;
    if (s.preview_sent && !s.main_sent && UpgradeKey(state, s, key)) list.emplace_back(key, image);
  }
  bool const stand_alone = (state.control_flags & ControlFlag::StandAlone) != 0;
  if (stand_alone && list.size() != state.image_order.size()) {
    // Everything goes into a stand-alone file, important or not.
    for (ImageRecord const* image : state.image_order)
      if (std::none_of(list.begin(), list.end(), [&](auto const& p) { return p.second == image; }))
        list.emplace_back(0.0f, image);
  }
  if (list.empty()) return;
  std::stable_sort(list.begin(), list.end(),
                   [](auto const& a, auto const& b) { return a.first > b.first; });
  Streamer const& sink = *state.output.Sink();
  for (auto const& [key, image] : list) {
    SendImageLevel(state, *state.image_progress.at(image).model, *image, false);
    if (state.output.Buffer().size() >= sink.chunk_size / 2 && !state.output.FlushChunk(0)) return;
    if (state.counters.waiting_images == 0 || sink.bytes_sent > budget) break;
  }
  state.output.FlushChunk(0);
}

}  // namespace QX::Store
