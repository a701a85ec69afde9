#include "export/Base64.h"

namespace KZVI {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

size_t Base64EncodeBlock(uint8_t const* in, size_t n, char* out, Base64State& state) {
  uint8_t const* end = in + n;
  char* const start = out;
  // Finish a group that the previous block left open.
  if (state.step == 1 && in != end) {
    *out++ = kAlphabet[state.residue | *in >> 4];
    state.residue = static_cast<uint8_t>((*in++ & 15) << 2);
    state.step = 2;
  }
  if (state.step == 2 && in != end) {
    *out++ = kAlphabet[state.residue | *in >> 6];
    *out++ = kAlphabet[*in++ & 63];
    state.step = 0;
  }
  if (state.step != 0) return static_cast<size_t>(out - start);
  // Whole groups: four characters for three bytes.
  for (; end - in >= 3; in += 3) {
    uint32_t const group = uint32_t{in[0]} << 16 | uint32_t{in[1]} << 8 | in[2];
    out[0] = kAlphabet[group >> 18];
    out[1] = kAlphabet[(group >> 12) & 63];
    out[2] = kAlphabet[(group >> 6) & 63];
    out[3] = kAlphabet[group & 63];
    out += 4;
  }
  // Start a group that the next block finishes.
  if (in != end) {
    *out++ = kAlphabet[*in >> 2];
    state.residue = static_cast<uint8_t>((*in++ & 3) << 4);
    state.step = 1;
  }
  if (in != end) {
    *out++ = kAlphabet[state.residue | *in >> 4];
    state.residue = static_cast<uint8_t>((*in++ & 15) << 2);
    state.step = 2;
  }
  return static_cast<size_t>(out - start);
}

size_t Base64EncodeEnd(char* out, Base64State& state) {
  size_t written = 0;
  if (state.step == 1) {
    out[0] = kAlphabet[state.residue];
    out[1] = '=';
    out[2] = '=';
    written = 3;
  } else if (state.step == 2) {
    out[0] = kAlphabet[state.residue];
    out[1] = '=';
    written = 2;
  }
  state = {};
  return written;
}

}  // namespace KZVI
