#include "stream/ControlRecords.h"

#include <cstdio>

#include "stream/WireTags.h"

namespace QX::Store {

namespace {

void PutBox(Bytes& out, BoundingBox const& b) {
  for (float v : {b.min_x, b.min_y, b.min_z, b.max_x, b.max_y, b.max_z}) PutF32(out, v);
}

// Text bytes with their terminating zero, then zeros up to a multiple of 4.
void PutText(Bytes& out, std::string_view text) {
  PutU32(out, uint32_t(text.size() + 1));
  out.insert(out.end(), text.begin(), text.end());
  out.push_back(0);
  PadTo4(out, 0);
}

}  // namespace

void WriteStreamHead(Bytes& out, uint32_t root_stream_model) {
  PutU32(out, Tag::Head);
  PutU32(out, 72);
  PutU32(out, 72);
  PutU32(out, root_stream_model);
  PutU32(out, 0);
}

void WriteModelContextRecord(Bytes& out, uint32_t stream_model) {
  PutU32(out, Tag::Context);
  PutU32(out, stream_model);
}

void WritePassEnd(Bytes& out, uint32_t status, uint32_t request_id, uint32_t key_code) {
  PutU32(out, Tag::PassEnd);
  PutU32(out, status);
  PutU32(out, request_id);
  PutU32(out, key_code);
}

void WriteBounds(Bytes& out, BoundingBox const& bounds, uint32_t weight) {
  PutU32(out, Tag::Bounds);
  PutBox(out, bounds);
  PutU32(out, weight);
}

void WriteBoundsResult(Bytes& out, BoundingBox const& bounds, uint32_t weight,
                       uint32_t request_id) {
  PutU32(out, Tag::BoundsResult);
  PutBox(out, bounds);
  PutU32(out, weight);
  PutU32(out, request_id);
}

void WriteText(Bytes& out, std::string_view text) {
  PutU32(out, Tag::Text);
  PutText(out, text);
}

void WriteLiveText(Bytes& out, uint32_t attach_id, std::string_view text) {
  PutU32(out, Tag::LiveText);
  PutU32(out, attach_id);
  PutText(out, text);
}

void WriteEvent(Bytes& out, uint32_t subject, uint32_t code, uint32_t extra,
                std::span<uint32_t const> words) {
  PutU32(out, Tag::Event);
  PutU32(out, subject);
  PutU32(out, uint32_t(words.size()));
  PutU32(out, code);
  PutU32(out, extra);
  for (uint32_t w : words) PutU32(out, w);
}

void WriteKeyProperty(Bytes& out, uint32_t a, uint32_t b, uint32_t c, uint32_t kind) {
  PutU32(out, Tag::KeyProperty);
  PutU32(out, a);
  PutU32(out, b);
  PutU32(out, c);
  PutU32(out, kind);
}

void WriteMissingKey(Bytes& out, uint32_t stream_model, uint32_t key, uint32_t code) {
  PutU32(out, Tag::Missing);
  PutU32(out, stream_model);
  PutU32(out, key);
  PutU32(out, code);
}

void WriteStateChange(Bytes& out, uint32_t a, uint32_t b, uint32_t c) {
  PutU32(out, Tag::StateChange);
  PutU32(out, a);
  PutU32(out, b);
  PutU32(out, c);
}

void WriteOperationResult(Bytes& out, uint32_t kind, bool failed, uint32_t request_id) {
  PutU32(out, Tag::OpResult);
  PutU32(out, failed ? kind | 0x80000000u : kind);
  PutU32(out, request_id);
}

void WriteRemovalNotice(Bytes& out, uint32_t notice_id) {
  PutU32(out, Tag::Removal);
  PutU32(out, notice_id);
  PutU32(out, KeyKind::Inclusion);
}

void WritePreviews(Bytes& out, uint32_t kind, std::span<BoundingBox const> boxes) {
  PutU32(out, Tag::Previews);
  PutU32(out, uint32_t(boxes.size()));
  PutU32(out, kind);
  for (auto const& b : boxes) PutBox(out, b);
}

void WriteKeyedData(Bytes& out, uint32_t stream_model, DataKey key,
                    std::span<uint8_t const> data) {
  PutU32(out, Tag::KeyedData);
  PutU32(out, stream_model);
  PutU32(out, key);
  PutU32(out, uint32_t(data.size()));
  out.insert(out.end(), data.begin(), data.end());
  PadTo4(out, 0);
}

std::string EscapeJson(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char ch : text) {
    switch (ch) {
      case '\b': out += "\\b"; break;
      case '\t': out += "\\t"; break;
      case '\n': out += "\\n"; break;
      case '\f': out += "\\f"; break;
      case '\r': out += "\\r"; break;
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      default:
        if (static_cast<unsigned char>(ch) < 32) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", unsigned(static_cast<unsigned char>(ch)));
          out += buf;
        } else {
          out += ch;
        }
    }
  }
  return out;
}

std::string MissingModelText(std::string_view name) {
  return "<MISSING_MODEL data=\"" + EscapeJson(name) + "\">";
}

}  // namespace QX::Store
