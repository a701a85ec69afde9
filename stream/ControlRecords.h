#pragma once
// Writers of the stream's control records. Each appends one whole record to
// a byte buffer and never flushes.
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "store/Types.h"
#include "files/ByteOrder.h"

namespace QX::Store {

// V: the head of every stream, naming the root's stream model id.
void WriteStreamHead(Bytes& out, uint32_t root_stream_model);
// N: the model that the following context-bound records belong to.
void WriteModelContextRecord(Bytes& out, uint32_t stream_model);
// T: end of a pass.
void WritePassEnd(Bytes& out, uint32_t status, uint32_t request_id, uint32_t key_code);
// B: the scene's bounds and the weight counted so far.
void WriteBounds(Bytes& out, BoundingBox const& bounds, uint32_t weight);
// b: the answer to a bounding request.
void WriteBoundsResult(Bytes& out, BoundingBox const& bounds, uint32_t weight,
                       uint32_t request_id);
// U: text, stand-alone form. The terminating zero is counted and written.
void WriteText(Bytes& out, std::string_view text);
// u: text, live form.
void WriteLiveText(Bytes& out, uint32_t attach_id, std::string_view text);
// e: event with words.
void WriteEvent(Bytes& out, uint32_t subject, uint32_t code, uint32_t extra,
                std::span<uint32_t const> words);
// 3: property of a key.
void WriteKeyProperty(Bytes& out, uint32_t a, uint32_t b, uint32_t c, uint32_t kind);
// m: missing key report.
void WriteMissingKey(Bytes& out, uint32_t stream_model, uint32_t key, uint32_t code);
// 0: object state change.
void WriteStateChange(Bytes& out, uint32_t a, uint32_t b, uint32_t c);
// 4: result of an operation; `failed` sets bit 31 of the kind.
void WriteOperationResult(Bytes& out, uint32_t kind, bool failed, uint32_t request_id);
// t: removal notice.
void WriteRemovalNotice(Bytes& out, uint32_t notice_id);
// p: bounding previews of one kind (0 instances, 1 models, 2 ejected).
void WritePreviews(Bytes& out, uint32_t kind, std::span<BoundingBox const> boxes);
// d: keyed data, zero-padded to a multiple of 4. Stands only inside D.
void WriteKeyedData(Bytes& out, uint32_t stream_model, DataKey key,
                    std::span<uint8_t const> data);

// JSON string escaping of a name: \b \t \n \f \r \" \\ and \u00XX below 32.
std::string EscapeJson(std::string_view text);
// The text that reports a model that could not be found.
std::string MissingModelText(std::string_view name);

}  // namespace QX::Store
