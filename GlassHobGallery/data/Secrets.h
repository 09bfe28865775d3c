#pragma once

// Everything that guards: random tokens, hashes, passwords. On libsodium. Any thread, after initSecrets().

#include <memory>
#include <string>
#include <string_view>

namespace glasshob::gallery {

// Before anything else here; throws when the library does not start.
void initSecrets();

// 256 random bits as 43 characters of [A-Za-z0-9_-].
std::string randomToken();
// So many characters of these, which are at most 256, each as likely as the others.
std::string randomText(std::size_t length, std::string_view characters);
// 32 bytes: what is kept in place of a token.
std::string hashOf(std::string_view text);
// 43 characters that follow from a secret and a purpose, and tell nothing of the secret.
std::string derivedToken(std::string_view secret, std::string_view purpose);
// In a time that does not tell where they differ.
bool isSame(std::string_view a, std::string_view b);
// Of bytes, in small letters.
std::string hexText(std::string_view bytes);

// Argon2id; takes some tens of milliseconds and 64 MB on purpose.
std::string passwordHash(std::string_view password);
// An empty hash takes as long as any, and is never right.
bool isPassword(const std::string& hash, std::string_view password);

// The hash of what comes in pieces.
class Digest {
  public:
    Digest();
    ~Digest();
    void add(std::string_view bytes);
    // 32 bytes; once.
    std::string end();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace glasshob::gallery
