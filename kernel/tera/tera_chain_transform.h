/// Two transforms, one after the other.
#pragma once

#include <memory>
#include <utility>

#include "tera/tera_transform.h"

/// Saved form: magic "STDX", the int `CHAIN_MARK`, the two transforms with their magics, first the one that
/// is applied last.
class SORV_API TeraChainTransform final : public TeraTransform {
 public:
  /// Stands where a standard transform has its operation.
  static constexpr int CHAIN_MARK = -1;

  /// An empty chain, to be read into; it changes nothing.
  TeraChainTransform() = default;
  /// Takes both over; neither may be null. `chain` is applied first.
  TeraChainTransform(std::unique_ptr<TeraTransform> prefix, std::unique_ptr<TeraTransform> chain)
      : prefixTrafo(std::move(prefix)), chainTrafo(std::move(chain)) {}

  using TeraTransform::code;
  char* code(const char* text, AceAttach* at) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int magic() const override;
  /// An empty chain for a null name; chains with names are made by `TeraTransform::factory`.
  TeraTransform* make(const char* name, const char* encoding) const override;
  TeraTransform* copy() const override;
  int needs_map() const override;
  int is_parallelizable() const override;

 private:
  std::unique_ptr<TeraTransform> prefixTrafo;
  std::unique_ptr<TeraTransform> chainTrafo;
};
