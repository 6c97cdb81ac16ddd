#include <cstddef>
#include <string_view>

#include "tessary/tremloquery.h"

static_assert(sizeof(TremloParameter) == 32 && offsetof(TremloParameter, type) == 8 &&
              offsetof(TremloParameter, kind) == 24 && offsetof(TremloParameter, zero) == 27);
static_assert(sizeof(TremloMethod) == 40 && offsetof(TremloMethod, parameters) == 24 &&
              offsetof(TremloMethod, primaryInAlignment) == 32 &&
              offsetof(TremloMethod, primaryOutAlignment) == 33);
static_assert(sizeof(TremloInterface) == 56 && offsetof(TremloInterface, methods) == 8 &&
              offsetof(TremloInterface, interfaceIds) == 24 && offsetof(TremloInterface, nameIndex) == 32 &&
              offsetof(TremloInterface, nameSequence) == 40 && offsetof(TremloInterface, stringPool) == 48);

namespace {

enum Kind : uint8_t { kHandle = 0, kPrimitive = 2, kText = 4, kSequence = 9 };
enum Direction : uint8_t { kIn = 0, kOut = 3 };

constexpr uint64_t kHandleMark = 0xdeadc0de;
constexpr TremloTypePart kPlain{0, 0};

constexpr TremloParameter kByte{1, kPlain, kPrimitive, 1, kIn, 0};

constexpr TremloParameter kUri{16, kPlain, kText, 8, kIn, 0};
constexpr TremloParameter kOpenedHandle{8, {kHandleMark, 0}, kHandle, 8, kOut, 0};
constexpr TremloParameter kClosedHandle{8, {kHandleMark, 0}, kHandle, 8, kIn, 0};
constexpr TremloParameter kNpuFlag{4, kPlain, kPrimitive, 4, kIn, 0};
constexpr TremloParameter kNoMetrics{4, {0, 1}, kPrimitive, 4, kOut, 0};
constexpr TremloParameter kProfdata{16, TremloTypePart{TremloSequence{&kByte, 0}}, kSequence, 8, kOut, 0};

constexpr const TremloParameter* kOpenParameters[] = {&kUri, &kOpenedHandle};
constexpr const TremloParameter* kCloseParameters[] = {&kClosedHandle};
constexpr const TremloParameter* kFlagParameters[] = {&kNpuFlag};
constexpr const TremloParameter* kGetProfdataParameters[] = {&kProfdata, &kNoMetrics, &kNpuFlag};

constexpr TremloMethod kOpen{0x00020001, 4, 0, 2, 2, kOpenParameters, 4, 1};
constexpr TremloMethod kClose{0x00000010, 0, 0, 1, 1, kCloseParameters, 1, 0};
constexpr TremloMethod kInitOrDeinit{0x00010000, 4, 0, 1, 1, kFlagParameters, 4, 0};
constexpr TremloMethod kGetProfdataMethod{0x00010200, 8, 4, 5, 3, kGetProfdataParameters, 4, 4};

constexpr const TremloMethod* kMethods[] = {&kOpen, &kClose, &kInitOrDeinit, &kGetProfdataMethod,
                                            &kInitOrDeinit};

constexpr char kStringPool[] =
    "profdata_ptr\0get_profdata\0no_metrics\0npu_flag\0deinit\0close\0open\0uri\0h";

constexpr uint16_t kNameSequence[] = {13, 0,  26, 37,  // get_profdata
                                      59, 64, 68,      // open
                                      46, 37,          // deinit
                                      48, 37,          // init, the tail of "deinit"
                                      53, 68};         // close
constexpr uint16_t kNameIndex[] = {4, 11, 9, 0, 7};

constexpr bool namesAre(std::size_t method, std::string_view name, std::string_view first,
                        std::string_view second = {}, std::string_view third = {}) {
  const uint16_t* const names = kNameSequence + kNameIndex[method];
  const std::string_view parameters[] = {first, second, third};
  if (name != kStringPool + names[0]) return false;
  for (int i = 0; i < kMethods[method]->parameterCount; ++i) {
    if (parameters[i] != kStringPool + names[i + 1]) return false;
  }
  return true;
}
static_assert(namesAre(0, "open", "uri", "h"));
static_assert(namesAre(1, "close", "h"));
static_assert(namesAre(2, "init", "npu_flag"));
static_assert(namesAre(3, "get_profdata", "profdata_ptr", "no_metrics", "npu_flag"));
static_assert(namesAre(4, "deinit", "npu_flag"));

}  // namespace

const TremloInterface tremloquery_slim{5, kMethods, 0, nullptr, kNameIndex, kNameSequence, kStringPool};
