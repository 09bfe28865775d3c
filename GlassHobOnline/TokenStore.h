#pragma once

// Where the token of the sign-in is kept: the one secret that this program has. Main thread. What is asked for is done
// in its order; a task may wait for as long as the person is asked to unlock the keyring.

#include <qcoro/qcorotask.h>

#include <optional>
#include <string>

namespace glasshob {

class TokenStore {
  public:
    virtual ~TokenStore() = default;
    // Nothing when there is none, or when it is not given out.
    virtual QCoro::Task<std::optional<std::string>> read() = 0;
    // In place of the one that is there. Whether it is kept.
    virtual QCoro::Task<bool> save(std::string token) = 0;
    virtual QCoro::Task<> remove() = 0;
};

// For one run of the program.
class MemoryTokenStore : public TokenStore {
  public:
    // A copy: QCoro's tasks move from the variable that they are given.
    QCoro::Task<std::optional<std::string>> read() override { co_return std::optional(token); }
    QCoro::Task<bool> save(std::string saved) override {
        if (!refuses) token = std::move(saved);
        co_return !refuses;
    }
    QCoro::Task<> remove() override {
        token.reset();
        co_return;
    }

    std::optional<std::string> token;
    // As a keyring that is locked.
    bool refuses = false;
};

} // namespace glasshob
