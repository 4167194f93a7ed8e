#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/memory/virtualmemory.h"

namespace fuzz {

/// The bytes of an input, taken from the front; behind the end they are 0.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : bytes_(reinterpret_cast<const char*>(data), size) {}

  std::uint8_t Byte() { return at_ < bytes_.size() ? static_cast<std::uint8_t>(bytes_[at_++]) : 0; }
  unsigned Word() {
    const unsigned low = Byte();
    return low | static_cast<unsigned>(Byte()) << 8;
  }
  std::string Take(std::size_t size) {
    std::string part = bytes_.substr(at_, size);
    at_ += part.size();
    return part;
  }
  std::string Rest() { return Take(bytes_.size()); }
  bool IsAtEnd() const { return at_ >= bytes_.size(); }

 private:
  std::string bytes_;
  std::size_t at_ = 0;
};

/// What the library does must be a KXException or nothing.
template <class Operation>
bool Succeeds(Operation operation) {
  try {
    operation();
    return true;
  } catch (const KXException&) {
    return false;
  }
}

inline void Check(bool isTrue) {
  if (!isTrue) std::abort();
}

/// The process's manager, of a few blocks so that paging takes part.
inline void NeedProcessMemory() {
  kxSetMinVMAllocationPercent(0);
  _CREATEVMPARAM param{0, nullptr, 1, 1};
  kxCreateVirtualMemory(&param);
}

}  // namespace fuzz
