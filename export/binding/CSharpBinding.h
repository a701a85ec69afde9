#pragma once
// Flat functions through which a C# binding reaches the HTML export, and
// the plug-in entry points. All have C names.
#define KZV_EXPORTED __attribute__((visibility("default")))

extern "C" {

// Receives the text and code of an exception caught at the boundary.
typedef void (*KZVExceptionCallback)(char const* message, int code);

// Stores eight callbacks, replacing earlier ones. The wrappers below call
// the 3rd for InvalidObjectException, the 4th for IndexOutOfRangeException,
// the 5th for InvalidSpecificationException, the 7th for
// InvalidOperationException and the 8th, with its result code, for
// IOException; the 1st, 2nd and 6th are kept for the binding's own use.
KZV_EXPORTED void CSharp_KZVRegisterExceptionCallbacks(KZVExceptionCallback first, KZVExceptionCallback second,
                                                       KZVExceptionCallback invalid_object,
                                                       KZVExceptionCallback index_out_of_range,
                                                       KZVExceptionCallback invalid_specification,
                                                       KZVExceptionCallback sixth,
                                                       KZVExceptionCallback invalid_operation,
                                                       KZVExceptionCallback io);

// Exports the scene below *key_path (a KZV::KeyPath). Null paths are
// passed on as null.
KZV_EXPORTED void CSharp_KZV_HTML_File_Export(void* key_path, wchar_t const* output_file_name,
                                              wchar_t const* template_file_name);

// Handles for the binding's proxy objects: one byte each, no constructor.
KZV_EXPORTED void* CSharp_KZV_HTML_File_File();
KZV_EXPORTED void* CSharp_KZV_HTML_HTML();
KZV_EXPORTED void CSharp_KZV_HTML_File_delete(void* object);
KZV_EXPORTED void CSharp_KZV_HTML_delete(void* object);

// The entry points that the plug-in mechanism looks for.
KZV_EXPORTED bool Init();
KZV_EXPORTED void Cleanup();
KZV_EXPORTED int Pinioner();
}
