// The client side of the query interface, which the module libtremloquery_skel.so offers on a DSP: one
// function for each remote method, and the description of the interface.
//
// Every function but get_full_uri_info returns 0 on success, else the status of the remote-call library
// unchanged; -1 where that library is not loaded or lacks the entry point. Nothing is logged. The functions
// keep no state: they are as safe to use from several threads as the remote-call library is.
#ifndef TESSARY_TREMLOQUERY_H
#define TESSARY_TREMLOQUERY_H

#include <cstdint>

#include "tessary/export.h"
#include "tessary/remote_call.h"

extern "C" {

// Opens the query module of a domain. Its URI is
//   file:///libtremloquery_skel.so?tremloquery_skel_handle_invoke&_modver=1.0
// followed by "&_dom=adsp", "&_dom=sdsp" or "&_dom=cdsp". The handle is for tremloquery_close to release.
TESSARY_API int tremloquery_open(const char* uri, uint64_t* handle);
TESSARY_API int tremloquery_close(uint64_t handle);

// Starts the measurement on the DSP; npu_flag is 1 for the neural processor of the domain, else 0.
TESSARY_API int tremloquery_init(uint64_t handle, uint32_t npu_flag);

// Fills `length` bytes (not negative) at profdata_ptr with the profile record, and stores the number of its
// metrics. On a status other than 0, *no_metrics keeps its value. Neither pointer is null.
TESSARY_API int tremloquery_get_profdata(uint64_t handle, unsigned char* profdata_ptr, int length,
                                         uint32_t* no_metrics, uint32_t npu_flag);

// Ends the measurement.
TESSARY_API int tremloquery_deinit(uint64_t handle, uint32_t npu_flag);

// Any method, with buffers of the caller's own making.
TESSARY_API int tremloquery_skel_handle_invoke(uint64_t handle, uint32_t scalars, remoteBuffer* buffers);

// Writes the base URI with the suffix of a domain (0 adsp, 2 sdsp, 3 cdsp) to `output`, cut to `outputSize`
// bytes with the NUL, zeros up to its end; then attaches the process to the domain and returns the status of
// that. For any other domain number: no suffix, nothing is attached, and the result is the length of the base
// URI. An outputSize of 0 or less writes nothing.
TESSARY_API int get_full_uri_info(const char* baseUri, char* output, int outputSize, int domain);

// -- the description of the interface, laid out as the remote-call framework reads it

struct TremloParameter;

struct TremloSequence {
  const TremloParameter* element;
  uint64_t maximumLength;  // 0: unbounded
};

// What else there is to say of a parameter's type.
union TremloTypePart {
  uint64_t words[2];
  TremloSequence sequence;  // of a sequence

  constexpr TremloTypePart(uint64_t first, uint64_t second) : words{first, second} {}
  constexpr explicit TremloTypePart(TremloSequence ofSequence) : sequence{ofSequence} {}
};

struct TremloParameter {
  int size;  // bytes, of the native type
  TremloTypePart type;
  uint8_t kind;  // 0 handle, 2 primitive, 4 text, 9 sequence
  uint8_t alignment;
  uint8_t direction;  // 0 in, 3 out
  uint8_t zero;
};

struct TremloMethod {
  uint32_t scalars;   // without the method number
  int primaryInSize;  // bytes
  int primaryOutSize;
  int maxArguments;
  int parameterCount;
  const TremloParameter* const* parameters;
  uint8_t primaryInAlignment;
  uint8_t primaryOutAlignment;
};

struct TremloInterface {
  int methodCount;
  const TremloMethod* const* methods;  // in the order of the method numbers
  int interfaceIdCount;
  const void* interfaceIds;
  const uint16_t* nameIndex;     // for each method, where its names begin in nameSequence
  const uint16_t* nameSequence;  // offsets into the string pool: a method's name, then its parameters' names
  const char* stringPool;
};

// Read only; nothing in the library reads it.
TESSARY_API extern const TremloInterface tremloquery_slim;

}  // extern "C"

#endif
