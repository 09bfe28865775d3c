#include "GlassHobGallery/data/Secrets.h"

#include <sodium.h>

#include <stdexcept>

namespace glasshob::gallery {

namespace {

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string base64(const unsigned char (&bytes)[32]) {
    std::string text(sodium_base64_ENCODED_LEN(32, sodium_base64_VARIANT_URLSAFE_NO_PADDING), '\0');
    sodium_bin2base64(text.data(), text.size(), bytes, 32, sodium_base64_VARIANT_URLSAFE_NO_PADDING);
    text.pop_back(); // the terminator
    return text;
}

} // namespace

void initSecrets() {
    if (sodium_init() < 0) throw std::runtime_error("libsodium does not start on this machine.");
}

std::string randomToken() {
    unsigned char bytes[32];
    randombytes_buf(bytes, sizeof bytes);
    return base64(bytes);
}

std::string randomText(std::size_t length, std::string_view characters) {
    // Bytes beyond the last whole multiple are thrown away: they would favour the first characters.
    const std::size_t usable = 256 / characters.size() * characters.size();
    std::string text;
    unsigned char bytes[32];
    while (text.size() < length) {
        randombytes_buf(bytes, sizeof bytes);
        for (const unsigned char byte : bytes)
            if (byte < usable && text.size() < length) text += characters[byte % characters.size()];
    }
    return text;
}

std::string hashOf(std::string_view text) {
    std::string hash(32, '\0');
    crypto_generichash(reinterpret_cast<unsigned char*>(hash.data()), 32, bytesOf(text), text.size(), nullptr, 0);
    return hash;
}

std::string derivedToken(std::string_view secret, std::string_view purpose) {
    const std::string key = hashOf("key:" + std::string(secret));
    unsigned char bytes[32];
    crypto_generichash(bytes, 32, bytesOf(purpose), purpose.size(), bytesOf(key), key.size());
    return base64(bytes);
}

bool isSame(std::string_view a, std::string_view b) {
    return a.size() == b.size() && sodium_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::string hexText(std::string_view bytes) {
    std::string text(bytes.size() * 2 + 1, '\0');
    sodium_bin2hex(text.data(), text.size(), bytesOf(bytes), bytes.size());
    text.pop_back();
    return text;
}

std::string passwordHash(std::string_view password) {
    char hash[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str(hash, password.data(), password.size(), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        throw std::runtime_error("There is not enough memory to keep a password.");
    return hash;
}

bool isPassword(const std::string& hash, std::string_view password) {
    if (hash.empty()) {
        passwordHash(password);
        return false;
    }
    return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

struct Digest::State {
    crypto_generichash_state hash;
};

Digest::Digest() : state_(std::make_unique<State>()) {
    crypto_generichash_init(&state_->hash, nullptr, 0, 32);
}

Digest::~Digest() = default;

void Digest::add(std::string_view bytes) {
    crypto_generichash_update(&state_->hash, bytesOf(bytes), bytes.size());
}

std::string Digest::end() {
    std::string hash(32, '\0');
    crypto_generichash_final(&state_->hash, reinterpret_cast<unsigned char*>(hash.data()), 32);
    return hash;
}

} // namespace glasshob::gallery
