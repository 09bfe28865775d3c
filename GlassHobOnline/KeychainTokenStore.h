#pragma once

// The token in the desktop's keyring, by the Secret Service, or KWallet where that is the desktop's. Where neither runs
// nothing is kept: a token never goes into a file. A process that a token has passed through leaves no core file.

#include "GlassHobOnline/TokenStore.h"

namespace glasshob {

class KeychainTokenStore : public TokenStore {
  public:
    QCoro::Task<std::optional<std::string>> read() override;
    QCoro::Task<bool> save(std::string token) override;
    QCoro::Task<> remove() override;
};

} // namespace glasshob
