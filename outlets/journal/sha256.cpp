#include "outlets/journal/sha256.hpp"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace tarn {
namespace {

void RequireDigest(bool done) {
  if (!done) throw std::runtime_error("the cryptographic library computes no SHA-256");
}

}  // namespace

struct Sha256::Context {
  EVP_MD_CTX* state = EVP_MD_CTX_new();
  EVP_MD_CTX* copy = EVP_MD_CTX_new();
  Context() = default;
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() {
    EVP_MD_CTX_free(state);
    EVP_MD_CTX_free(copy);
  }
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {
  RequireDigest(context_->state != nullptr && context_->copy != nullptr);
  Begin();
}

Sha256::Sha256(Sha256&& other) noexcept = default;
Sha256::~Sha256() = default;

void Sha256::Begin() {
  // To look the method up takes longer than a line; it stays as long as the process.
  static const EVP_MD* const method = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  RequireDigest(EVP_DigestInit_ex2(context_->state, method, nullptr) == 1);
}

Sha256& Sha256::Add(std::string_view bytes) {
  RequireDigest(EVP_DigestUpdate(context_->state, bytes.data(), bytes.size()) == 1);
  return *this;
}

std::string Sha256::SumSoFar() const {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  RequireDigest(EVP_MD_CTX_copy_ex(context_->copy, context_->state) == 1);
  std::array<unsigned char, kLength / 2> sum{};
  RequireDigest(EVP_DigestFinal_ex(context_->copy, sum.data(), nullptr) == 1);
  std::string text;
  for (const unsigned char byte : sum) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 15U];
  }
  return text;
}

std::string Sha256::Sum() {
  std::string sum = SumSoFar();
  Begin();
  return sum;
}

}  // namespace tarn
