/// Rescales: tables that map a quality onto a field's own scale.
///
/// A rescale has one value per quality 0..255. Values below 0 are exclusion marks; `REJECTED` means that the
/// hit is rejected. Which shape the table has, and its penalty and threshold, come from a
/// `TeraRescaleConfig`.
///
/// Thread safety: a rescale is constant; a configuration belongs to one thread.
#pragma once

#include <array>
#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class TeraRescaleConfig;

enum class RescaleShape : int {
  UNKNOWN = -1,
  IDENTITY = 0,
  MANDATORY = 1,
  OPTIONAL = 2,
  FILTER = 3,
  NOT = 4,
  CUSTOM = 5,
  RESCALE = 6,
};

class SORV_API TeraRescale {
 public:
  static constexpr int NUM_VALUES = 256;
  static constexpr int REJECTED = -1000000;

  virtual ~TeraRescale() = default;
  virtual RescaleShape get_type() const = 0;

  /// The value of a quality, which must be 0..255.
  int rescale(int quality) const { return rescaledValues[static_cast<std::size_t>(quality)]; }
  /// Whether the table never falls; if not, a warning says so.
  bool check_monotonicity() const;

  /// The rescale that a configuration describes, owned by the caller (`delete`); null, with a warning, for an
  /// unknown shape and for a custom one without values. Unless `no_check` is set, the table's order is
  /// checked and a fall warned about.
  static TeraRescale* create_rescale(const TeraRescaleConfig* config, int no_check);

 protected:
  TeraRescale() = default;

  std::array<int, NUM_VALUES> rescaledValues{};
};

// One class per shape; the tables are described at `create_rescale` in the source.
class SORV_API TeraIdentityRescale final : public TeraRescale {
 public:
  explicit TeraIdentityRescale(const TeraRescaleConfig& config);
  RescaleShape get_type() const override { return RescaleShape::IDENTITY; }
};
class SORV_API TeraMandatoryRescale final : public TeraRescale {
 public:
  explicit TeraMandatoryRescale(const TeraRescaleConfig& config);
  RescaleShape get_type() const override { return RescaleShape::MANDATORY; }
};
class SORV_API TeraOptionalRescale final : public TeraRescale {
 public:
  explicit TeraOptionalRescale(const TeraRescaleConfig& config);
  RescaleShape get_type() const override { return RescaleShape::OPTIONAL; }
};
class SORV_API TeraFilterRescale final : public TeraRescale {
 public:
  explicit TeraFilterRescale(const TeraRescaleConfig& config);
  RescaleShape get_type() const override { return RescaleShape::FILTER; }
};
class SORV_API TeraNotRescale final : public TeraRescale {
 public:
  explicit TeraNotRescale(const TeraRescaleConfig& config);
  RescaleShape get_type() const override { return RescaleShape::NOT; }
};
class SORV_API TeraCustomRescale final : public TeraRescale {
 public:
  explicit TeraCustomRescale(const TeraRescaleConfig& config);
  RescaleShape get_type() const override { return RescaleShape::CUSTOM; }
};
class SORV_API TeraLinearRescale final : public TeraRescale {
 public:
  explicit TeraLinearRescale(const TeraRescaleConfig& config);
  RescaleShape get_type() const override { return RescaleShape::RESCALE; }
};

/// What a rescale is made from. The custom values are copied into the configuration.
class SORV_API TeraRescaleConfig : public AceAttach {
 public:
  TeraRescaleConfig() = default;
  /// `custom` may be null, else it has 256 values.
  TeraRescaleConfig(RescaleShape shape, int penalty, int threshold, int keep_perfect, const int* custom);
  TeraRescaleConfig(const char* shape, int penalty, int threshold, int keep_perfect, const int* custom);

  /// The shape of a name in any case; the empty name is IDENTITY, an unknown or null one UNKNOWN.
  static RescaleShape enum_from_str(const char* name);
  /// -1 for an unknown name, which is stored as UNKNOWN; else 0.
  int set_shape_name(const char* name);
  /// "UNKNOWN" for an unknown shape.
  const char* get_shape_name() const;
  RescaleShape get_shape() const { return shapeConf; }
  void set_penalty(int penalty) { rescalePenalty = penalty; }
  int get_penalty() const { return rescalePenalty; }
  void set_threshold(int threshold) { rescaleThreshold = threshold; }
  int get_threshold() const { return rescaleThreshold; }
  void set_keep_perfect(int keep) { keepPerfect = keep; }
  int get_keep_perfect() const { return keepPerfect; }
  /// 256 values, or null for none.
  void set_custom_rescale(const int* values);
  const int* get_custom_rescale() const { return customShape; }
  /// Reads exactly 256 numbers separated by ";". An unreadable one counts as -1, and each is capped at 255.
  /// Returns 0; or -1, and the values stay, for another number of numbers.
  int parse_custom_shape(const char* text);
  void copy(const TeraRescaleConfig* other);

 private:
  RescaleShape shapeConf = RescaleShape::IDENTITY;
  int rescalePenalty = 0;
  int rescaleThreshold = 0;
  int keepPerfect = 0;
  int* customShape = nullptr;
};
