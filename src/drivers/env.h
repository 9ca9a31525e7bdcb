// The boot-environment driver (/dev/env): records.
#pragma once

#include <cstddef>
#include <cstdint>

#include "drivers/requests.h"

namespace tav {

constexpr const char* kEnvPath = "/dev/env";

struct EnvKey {
  uint32_t index;
  char name[64];
};
static_assert(sizeof(EnvKey) == 68);

struct EnvVariable {
  char name[64];
  char value[256];
};
static_assert(sizeof(EnvVariable) == 320);
static_assert(offsetof(EnvVariable, value) == 64);

// Serial pass-through: on (1) or back to the console (0), the baud rate,
// and two words the driver takes as they stand.
struct EnvTransMode {
  uint32_t on;
  uint32_t baud;
  uint32_t word2;
  uint32_t word3;
};
static_assert(sizeof(EnvTransMode) == 16);

struct EnvPassword {
  uint32_t length;  // without the terminator
  char text[64];
};
static_assert(sizeof(EnvPassword) == 68);

}  // namespace tav
