#pragma once
// The check that an encoded image file is one the stream can decode, made
// before the file is stored.
#include <cstdint>
#include <string>

namespace QX::Store {

// True if a decoder recognises the file's header; otherwise false with the
// decoder's reason.
bool ValidateEncodedImage(uint32_t size, void const* bytes, uint32_t code, std::string& reason);

}  // namespace QX::Store
