#pragma once
// Progress of the mesh data and the images that a stream sends.
#include <cstdint>
#include <vector>

namespace QX::Store {

class ModelImpl;
struct StreamInstance;

// One per MeshRecord that holds data.
struct MeshSendState {
  ModelImpl* model = nullptr;
  bool resident = false;  // counts as held by the viewer
  std::vector<StreamInstance*> items;  // all items that draw this mesh
  uint32_t next_chunk = 0;  // next table of contents entry; 0 if nothing was sent
  uint32_t kib = 0;
  uint32_t frame = 0;   // frame_serial of the last send
  uint32_t pinned = 0;  // how many of `items` are pinned
  float top_priority = 0;
  float ejected_priority = 0;  // top_priority at the last ejection, 0 if none counts
  float ejected_view_width = 0;
  uint32_t ejected_view = 0;
};

// One per image that holds bytes.
struct ImageSendState {
  ModelImpl* model = nullptr;
  bool preview_sent = false;
  bool main_sent = false;
  std::vector<StreamInstance*> users;
};

}  // namespace QX::Store
