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
  EVP_MD* method = EVP_MD_fetch(nullptr, "SHA256", nullptr);
  EVP_MD_CTX* state = EVP_MD_CTX_new();
  Context() = default;
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() {
    EVP_MD_CTX_free(state);
    EVP_MD_free(method);
  }
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {
  RequireDigest(context_->method != nullptr && context_->state != nullptr);
  Begin();
}

Sha256::Sha256(Sha256&& other) noexcept = default;
Sha256::~Sha256() = default;

void Sha256::Begin() {
  RequireDigest(EVP_DigestInit_ex2(context_->state, context_->method, nullptr) == 1);
}

Sha256& Sha256::Add(std::string_view bytes) {
  RequireDigest(EVP_DigestUpdate(context_->state, bytes.data(), bytes.size()) == 1);
  return *this;
}

std::string Sha256::SumSoFar() const {
  static constexpr std::string_view kDigits = "0123456789abcdef";
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> copy(EVP_MD_CTX_new(),
                                                                     EVP_MD_CTX_free);
  RequireDigest(copy && EVP_MD_CTX_copy_ex(copy.get(), context_->state) == 1);
  std::array<unsigned char, kLength / 2> sum{};
  RequireDigest(EVP_DigestFinal_ex(copy.get(), sum.data(), nullptr) == 1);
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
