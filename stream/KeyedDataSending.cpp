// Keyed data: collected into D blocks, highest type word first, with the
// data files of the models closed when the process nears its open-file limit.
#include <unordered_set>

#include "files/OpenFiles.h"
#include "store/KeyedData.h"
#include "store/ModelImpl.h"
#include "stream/AssetSending.h"
#include "stream/ControlRecords.h"
#include "stream/StreamState.h"

namespace QX::Store {

namespace {

int64_t OpenFileMargin(int64_t limit) { return limit < 100 ? 50 : limit - 50; }

void CloseAll(std::unordered_set<ModelImpl*>& models) {
  for (ModelImpl* model : models) model->CloseFiles();
  models.clear();
}

// Appends the d record of one object to `local`; a failed read leaves nothing.
void AppendKeyedData(StreamState& state, ModelImpl& model, KeyedData const& data, Bytes& local,
                     Bytes& scratch) {
  uint32_t const stream_model = state.StreamIdOf(model);
  scratch.clear();
  if (data.size != 0 && (!model.ReadKeyedData(data.key, scratch) || scratch.size() != data.size)) {
    state.Log("Failed reading KeyedData (%u,%u)", stream_model, data.key);
    state.output.ReportMissing(stream_model, data.key, KeyKind::NoData | KeyKind::Data);
    return;
  }
  WriteKeyedData(local, stream_model, data.key, scratch);
}

}  // namespace

void SendKeyedData(StreamState& state, KeyedList& list, uint32_t limit) {
  uint64_t sent = 0;
  Streamer const& sink = *state.output.Sink();
  uint64_t const block_size = FlushSize(sink);
  int64_t const margin = OpenFileMargin(state.max_open_files);
  Bytes local, scratch;
  std::unordered_set<ModelImpl*> opened;
  while (sent < limit && !list.empty()) {
    auto const [model, data] = list.back();
    list.pop_back();
    if (OpenFileCount() > margin) CloseAll(opened);
    opened.insert(model);
    if (!state.sent.keyed_data.insert(ObjectId(model->id, data->key)).second) continue;
    AppendKeyedData(state, *model, *data, local, scratch);
    if (local.size() >= block_size) {
      state.output.SendKeyedBlock(local, sent);
      if (!state.output.SinkAlive() && limit != ~uint32_t{0}) break;
    }
  }
  CloseAll(opened);
  if (!local.empty()) state.output.SendKeyedBlock(local, sent);
}

}  // namespace QX::Store
