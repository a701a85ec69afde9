#include "server/LiveSession.h"

#include "server/EngineCommands.h"
#include "stream/StreamState.h"

namespace QX::Server {

namespace {

// Hands each chunk of a pass to the connection as one binary frame.
class FrameSink final : public Store::Streamer {
 public:
  explicit FrameSink(SessionChannel& channel) : channel_(channel) { chunk_size = LiveSession::kChunkSize; }
  bool Write(uint8_t* data, size_t size) override { return channel_.Send(std::vector<uint8_t>(data, data + size)); }

 private:
  SessionChannel& channel_;
};

std::unique_ptr<Store::StreamState> NewState(Store::Model const& model) {
  uint32_t const flags = LiveSession::kControlFlags;
  return std::make_unique<Store::StreamState>(model, &flags);
}

}  // namespace

LiveSession::LiveSession(Store::Model const& model, SessionChannel& channel)
    : model_(model), channel_(channel), state_(NewState(model)) {}

LiveSession::~LiveSession() = default;

void LiveSession::Run(SessionWork work) {
  if (work.camera) camera_ = work.camera;
  if (work.message) return Apply(*work.message);
  Store::StreamRequest request;
  request.kind = Store::RequestKind::Stream;
  Pass(request);
}

void LiveSession::Apply(ClientMessage const& message) {
  Store::StreamRequest request;
  request.kind = Store::RequestKind::Stream;
  if (auto const* m = std::get_if<RequestMessage>(&message)) {
    request.kind = m->kind;
    request.request_id = m->request_id;
    request.ids_ptr = &m->ids;
    request.incs_ptr = &m->incs;
    request.key_code = m->key_code;
    request.key_id = m->key_id;
    request.option_a = m->option_a;
    request.option_b = m->option_b;
    request.option_c = m->option_c;
  } else if (auto const* budget = std::get_if<BudgetMessage>(&message)) {
    if (budget->mib) state_->SetLimitMiB(*budget->mib);
    if (budget->cutoff_scale) state_->SetStreamCutoffScale(*budget->cutoff_scale);
    if (budget->mesh_level) state_->SetMeshLevel(*budget->mesh_level);
  } else if (std::holds_alternative<RestartMessage>(message)) {
    // A fresh state: the stream starts over with its head.
    state_.reset();
    state_ = NewState(model_);
  } else if (QueueCommand(*state_, message)) {
    // Commands are carried out in a pass that reaches the phases and streams nothing else.
    request.kind = Store::RequestKind::Nothing;
  }
  Pass(request);
}

void LiveSession::Pass(Store::StreamRequest request) {
  if (camera_) {
    request.camera = &camera_->camera;
    request.aspect = camera_->aspect;
    request.screen_width = camera_->screen_width;
    request.screen_height = camera_->screen_height;
  }
  FrameSink sink(channel_);
  state_->Stream(sink, request);
  if (request.kind == Store::RequestKind::Stream) streaming_ = sink.status == 0;
  else if (request.kind == Store::RequestKind::Nothing) streaming_ = true;
}

}  // namespace QX::Server
