// SHA-256, which the system's cryptographic library computes.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace tarn {

class Sha256 {
 public:
  /// The characters of a sum: small hexadecimal digits.
  static constexpr std::size_t kLength = 64;

  Sha256();
  Sha256(Sha256&& other) noexcept;
  Sha256& operator=(Sha256&&) = delete;
  ~Sha256();

  Sha256& Add(std::string_view bytes);
  /// The sum of what was added. Begins anew.
  std::string Sum();
  /// The sum of what was added so far; more may follow.
  std::string SumSoFar() const;

 private:
  struct Context;
  void Begin();
  std::unique_ptr<Context> context_;
};

}  // namespace tarn
