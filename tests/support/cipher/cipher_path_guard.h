// Gives back the cipher path that was in use when a test that forces paths ends.
#pragma once

#include "q7/cipher/internal/kernels.h"

namespace q7test {

struct CipherPathGuard {
  q7::internal::CipherPath saved = q7::internal::cipher_path();
  ~CipherPathGuard() { static_cast<void>(q7::internal::force_cipher_path(saved)); }
};

}  // namespace q7test
