#include "export/binding/CSharpBinding.h"

#include <new>
#include <optional>

#include "export/HtmlExport.h"
#include "export/value_types/Exceptions.h"
#include "scene/KeyPath.h"
#include "scene/UTF8.h"

namespace {

enum Slot { kInvalidObject = 2, kIndexOutOfRange = 3, kInvalidSpecification = 4, kInvalidOperation = 6, kIO = 7 };

KZVExceptionCallback callbacks[8] = {};

void Report(Slot slot, std::exception const& e, int code) {
  char const* text = e.what();
  if (!text || !*text) text = "Unknown exception";
  if (callbacks[slot]) callbacks[slot](text, code);
}

// Runs `body`; the module's exceptions go to their callbacks and end the
// call normally, everything else passes on.
template <typename Body>
bool Guarded(Body&& body) {
  try {
    body();
    return true;
  } catch (KZV::InvalidObjectException const& e) {
    Report(kInvalidObject, e, 0);
  } catch (KZV::IndexOutOfRangeException const& e) {
    Report(kIndexOutOfRange, e, 0);
  } catch (KZV::InvalidSpecificationException const& e) {
    Report(kInvalidSpecification, e, 0);
  } catch (KZV::InvalidOperationException const& e) {
    Report(kInvalidOperation, e, 0);
  } catch (KZV::IOException const& e) {
    Report(kIO, e, e.ResultCode());
  }
  return false;
}

void* AllocateHandle() {
  void* object = nullptr;
  if (!Guarded([&] { object = ::operator new(1); })) return nullptr;
  return object;
}

}  // namespace

extern "C" {

void CSharp_KZVRegisterExceptionCallbacks(KZVExceptionCallback first, KZVExceptionCallback second,
                                          KZVExceptionCallback invalid_object,
                                          KZVExceptionCallback index_out_of_range,
                                          KZVExceptionCallback invalid_specification, KZVExceptionCallback sixth,
                                          KZVExceptionCallback invalid_operation, KZVExceptionCallback io) {
  KZVExceptionCallback const all[8] = {first,  second, invalid_object, index_out_of_range, invalid_specification,
                                       sixth, invalid_operation, io};
  std::copy(all, all + 8, callbacks);
}

void CSharp_KZV_HTML_File_Export(void* key_path, wchar_t const* output_file_name,
                                 wchar_t const* template_file_name) {
  Guarded([&] {
    std::optional<KZV::UTF8> template_name, output_name;
    if (template_file_name) template_name.emplace(template_file_name);
    if (output_file_name) output_name.emplace(output_file_name);
    KZV::HTML::File::Export(*static_cast<KZV::KeyPath const*>(key_path),
                            output_name ? output_name->GetBytes() : nullptr,
                            template_name ? template_name->GetBytes() : nullptr);
  });
}

void* CSharp_KZV_HTML_File_File() { return AllocateHandle(); }
void* CSharp_KZV_HTML_HTML() { return AllocateHandle(); }
void CSharp_KZV_HTML_File_delete(void* object) { ::operator delete(object); }
void CSharp_KZV_HTML_delete(void* object) { ::operator delete(object); }

bool Init() { return true; }
void Cleanup() {}
int Pinioner() { return 0; }
}
