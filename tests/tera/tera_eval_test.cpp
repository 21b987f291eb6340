#include "tera/tera_eval.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "tera/tera_bits.h"
#include "tera/tera_rescale.h"

namespace {

using support::RecordingReporter;
using E = TeraEval;

int hits(E::Model model, int q, int x, int e) {
  return E::get_model_func(model, 0)(q, x, e);
}
int errors(E::Model model, int q, int x, int e) {
  return E::get_model_func(model, 1)(q, x, e);
}
int fine(E::Model model, int inverse, int q, int x, int e) {
  return E::fine_model_func(E::get_model_func(model, inverse))(q, x, e);
}

/// The tables as a list of cases.
int plain_length_reduction(int n) {
  if (n < 0) return 0;
  const int limits[] = {8, 16, 32, 64, 128, 256, 512, 1024, 2048, 4096, 8192};
  for (int i = 0; i < 11; ++i)
    if (n <= limits[i]) return n / (1 << i) + 4 * i;
  return 48;
}
int plain_strong_reduction(int n) {
  if (n < 0) return 0;
  if (n <= 8) return 4 * n;
  if (n <= 16) return 2 * n + 16;
  if (n <= 32) return n + 32;
  if (n <= 64) return n / 2 + 48;
  if (n <= 128) return n / 4 + 64;
  if (n <= 256) return n / 8 + 80;
  return n <= 512 ? n / 16 + 96 : 128;
}
int plain_redundant(int n, double width) {
  double sum = 0;
  for (int i = 1; i <= n; ++i) sum += 85 + 170 * std::exp(-static_cast<double>(i) * i / width);
  return static_cast<int>(sum);
}
int limited(long value) {
  return static_cast<int>(std::min(255L, std::max(0L, value)));
}

int plain_partial(long q, long x, long e, long unit, bool inverse) {
  const long longer = std::max(q, e);
  const long shorter = std::min(q, e);
  if (shorter == 0) return inverse ? 255 : 0;
  const long s = plain_strong_reduction(static_cast<int>(shorter / unit)) +
                 (255 - plain_strong_reduction(static_cast<int>(longer / unit))) * x / shorter;
  const long hit = s > 255 ? 254 : s < 255 ? s : x == longer || x == shorter ? 255 : 254;
  return static_cast<int>(inverse ? 255 - hit : hit);
}

/// Hits of every model but BIAS and VAR, for lengths from 1.
int plain_hits(E::Model model, long q, long x, long e) {
  const long longer = std::max(q, e);
  switch (model) {
    case E::QUERY:
      return static_cast<int>(255 * x / q);
    case E::QUERY_RAW:
      return static_cast<int>(255 - q + x);
    case E::SHORT:
      return limited(255 * x / q - plain_length_reduction(static_cast<int>(e - x)));
    case E::EM_QUERY:
      return static_cast<int>(2040 * x / (7 * q + e));
    case E::MEAN:
      return static_cast<int>(510 * x / (q + e));
    case E::EM_ENTRY:
      return static_cast<int>(2040 * x / (q + 7 * e));
    case E::LONG:
      return limited(255 * x / e - plain_length_reduction(static_cast<int>(q - x)));
    case E::ENTRY:
      return static_cast<int>(255 * x / e);
    case E::ENTRY_RAW:
      return static_cast<int>(255 - e + x);
    case E::UNION:
      return static_cast<int>(255 * x / (q + e - x));
    case E::MAXIMUM:
      return static_cast<int>(255 * x / longer);
    case E::MINIMUM:
      return static_cast<int>(255 * x / std::min(q, e));
    case E::PRODUCT:
      return static_cast<int>(255 * x * x / (q * e));
    case E::GEO:
      return static_cast<int>(
          std::floor(255.0 * static_cast<double>(x) / std::sqrt(static_cast<double>(q * e))));
    case E::ERRORS:
      return static_cast<int>(q < e ? 255 * x / q : q - e + x <= 0 ? 0 : 255 * (q - e + x) / q);
    case E::RAW:
      return static_cast<int>(255 - longer + x);
    case E::REDUNDANT:
      return longer > 255 ? 0
                          : 255 * plain_redundant(static_cast<int>(x), 100) /
                                plain_redundant(static_cast<int>(longer), 100);
    case E::PARTIAL:
      return plain_partial(q, x, e, 1, false);
    default:
      return -1;
  }
}

TEST(TeraEval, every_formula_holds_for_all_lengths) {
  std::mt19937 random(5);
  for (int round = 0; round < 40'000; ++round) {
    const int limit = round % 2 == 0 ? 14 : 600;
    const int q = 1 + static_cast<int>(random() % static_cast<unsigned>(limit));
    const int e = 1 + static_cast<int>(random() % static_cast<unsigned>(limit));
    const int x = static_cast<int>(random() % static_cast<unsigned>(std::min(q, e) + 1));
    for (int m = 0; m <= E::PARTIAL; ++m) {
      const auto model = static_cast<E::Model>(m);
      const int expected = plain_hits(model, q, x, e);
      ASSERT_EQ(hits(model, q, x, e), expected)
          << E::get_model_name(model) << " " << q << " " << x << " " << e;
      int inverse = 255 - expected;
      if (model == E::REDUNDANT && std::max(q, e) > 255) inverse = 0;
      if (model == E::ERRORS) inverse = 255 - 255 * (q <= e ? x + q - e : x) / q;
      ASSERT_EQ(errors(model, q, x, e), inverse)
          << E::get_model_name(model) << " " << q << " " << x << " " << e;
    }
  }
}

TEST(TeraEval, fine_forms_scale_the_plain_ones_and_keep_their_asymmetries) {
  std::mt19937 random(6);
  for (int round = 0; round < 20'000; ++round) {
    const int q = 1 + static_cast<int>(random() % 30'000);
    const int e = 1 + static_cast<int>(random() % 30'000);
    const int x = static_cast<int>(random() % static_cast<unsigned>(std::min(q, e) + 1));
    const long longer = std::max(q, e);
    const long shorter = std::min(q, e);
    EXPECT_EQ(fine(E::SHORT, 0, q, x, e), limited(255L * x / q - plain_length_reduction((e - x) / 255)));
    EXPECT_EQ(fine(E::LONG, 0, q, x, e), limited(255L * x / e - plain_length_reduction((q - x) / 255)));
    EXPECT_EQ(fine(E::SHORT, 1, q, x, e), 255 - limited(255L * x / q + (e - q) / 255));
    EXPECT_EQ(fine(E::LONG, 1, q, x, e), 255 - limited(255L * x / e + (q - e) / 255));
    EXPECT_EQ(fine(E::PARTIAL, 0, q, x, e), plain_partial(q, x, e, 255, false));
    EXPECT_EQ(fine(E::PARTIAL, 1, q, x, e), 255 - limited(255L * x / shorter + (longer - shorter) / 255));
    EXPECT_EQ(fine(E::RAW, 0, q, x, e), 255 - (longer - x) / 255);
    EXPECT_EQ(fine(E::QUERY_RAW, 0, q, x, e), 255 - (q + x) / 255) << "adds the match";
    EXPECT_EQ(fine(E::QUERY_RAW, 1, q, x, e), (q - x) / 255);
    EXPECT_EQ(fine(E::ENTRY_RAW, 0, q, x, e), 255 - (e + x) / 255);
    EXPECT_EQ(fine(E::UNION, 0, q, x, e), hits(E::UNION, q, x, e));
  }
  EXPECT_EQ(fine(E::REDUNDANT, 0, 2550, 1275, 2550),
            255 * plain_redundant(79, 25600) / plain_redundant(159, 25600));
  EXPECT_EQ(fine(E::REDUNDANT, 0, 70'000, 35'000, 70'000), 127) << "too long to tell apart";
  EXPECT_EQ(fine(E::REDUNDANT, 1, 70'000, 35'000, 70'000), 0);
  EXPECT_EQ(fine(E::SHORT, 1, 0, 0, 9), 0);
}

TEST(TeraEval, empty_and_extreme_lengths_divide_by_nothing) {
  for (int m = 0; m < E::NUM_MODELS; ++m)
    for (const int inverse : {0, 1})
      for (const int q : {0, 1, 255, 256, 600, 65'535, 65'536, 150'000})
        for (const int e : {0, 1, 255, 256, 600, 65'535, 65'536, 150'000}) {
          E::Eval* func = E::get_model_func(static_cast<E::Model>(m), inverse);
          const int value = func(q, std::min(q, e), e);
          if (q <= 600 && e <= 600 && m != E::ERRORS)
            EXPECT_LE(std::abs(value), 1000) << m << " " << q << " " << e;
          E::fine_model_func(func)(q, std::min(q, e), e);
        }
  const int maximum = std::numeric_limits<int>::max();
  const int minimum = std::numeric_limits<int>::min();
  for (int m = 0; m < E::NUM_MODELS; ++m)
    for (const int inverse : {0, 1})
      for (const int q : {minimum, -1, 0, 1, maximum})
        for (const int x : {minimum, -1, 0, 1, maximum})
          for (const int e : {minimum, -1, 0, 1, maximum}) {
            E::Eval* func = E::get_model_func(static_cast<E::Model>(m), inverse);
            const int value = E::fine_model_func(func)(q, x, e) ^ func(q, x, e);
            E::print_fine_eval_model(static_cast<E::Model>(m), AceReporter::null(), value, q, x, e);
          }
  for (const E::Model model : {E::QUERY, E::UNION, E::MAXIMUM, E::PRODUCT, E::GEO, E::PARTIAL})
    EXPECT_EQ(hits(model, maximum, maximum, maximum), 255) << E::get_model_name(model);
  EXPECT_EQ(hits(E::ENTRY_RAW, 0, maximum, 0), maximum);
  EXPECT_EQ(E::overlap(E::get_model_func(E::MAXIMUM, 0), minimum, maximum, minimum, maximum), 255);
  EXPECT_EQ(hits(E::SHORT, 0, 0, 5), 0);
  EXPECT_EQ(errors(E::SHORT, 0, 0, 5), 255);
}

TEST(TeraEval, bias_and_var_apply_their_models) {
  EXPECT_EQ(E::set_length_bias(5, -1, 100), 100);
  EXPECT_EQ(hits(E::BIAS, 5, 4, 5), 255 * (204 + 100) / 355);
  EXPECT_EQ(hits(E::BIAS, 5, 4, 6), hits(E::MAXIMUM, 5, 4, 6)) << "only the length 5 is biased";
  EXPECT_EQ(hits(E::SWAP_BIAS, 5, 4, 6), 255 * (170 + 100) / 355);
  EXPECT_EQ(errors(E::SWAP_BIAS, 5, 4, 6), 255 - 255 * (170 + 100) / 355);
  EXPECT_EQ(fine(E::BIAS, 0, 1280, 1024, 1280), 255 * (204 + 100) / 355);
  E::set_length_bias(5, 6, -100);
  EXPECT_EQ(hits(E::BIAS, 5, 1, 5), 0);
  EXPECT_EQ(E::set_length_bias(10, 5, 20), 20);
  EXPECT_EQ(E::get_length_bias(10), 0);
  EXPECT_EQ(E::set_length_bias(0, -1, 300), -1);
  EXPECT_EQ(E::set_length_bias(250, 9999, 7), 7);
  EXPECT_EQ(E::get_length_bias(1'000'000), 7);
  EXPECT_EQ(E::get_length_bias(-1), -1);
  EXPECT_EQ(hits(E::VAR, 5, 4, 5), 255 * 971 / (1189 + 1189 - 971));
  EXPECT_EQ(E::set_var_model("maximum"), 0);
  EXPECT_EQ(hits(E::VAR, 4, 4, 6), 255 * 971 / 1392);
  EXPECT_EQ(hits(E::VAR, 300, 4, 6), 0);
  EXPECT_EQ(errors(E::VAR, 300, 4, 6), 255);
  EXPECT_EQ(E::set_bias_base_model("query"), 0);
  EXPECT_EQ(hits(E::BIAS, 4, 2, 9), 127);
  for (const char* name : {"bias", "swap_bias", "nothing"})
    EXPECT_EQ(E::set_bias_base_model(name), -1) << name;
  EXPECT_EQ(E::set_var_model("var") + E::set_var_model(nullptr), -2);
  EXPECT_EQ(E::set_var_model("bias"), 0);
  EXPECT_EQ(E::set_bias_base_model("var"), -1) << "they would call each other for ever";
}

TEST(TeraEval, names_and_defaults_are_found_in_any_case) {
  EXPECT_EQ(E::init(), 0);
  E::Model model = E::UNKNOWN;
  EXPECT_EQ(E::get_mode("LCS", &model), E::SEQ);
  EXPECT_EQ(model, E::MAXIMUM);
  EXPECT_EQ(E::get_mode("blockedit", &model), E::BLOCKEDIT);
  EXPECT_EQ(model, E::PARTIAL);
  EXPECT_EQ(E::get_mode("Abbrev", &model), E::PREFIX);
  EXPECT_EQ(model, E::SHORT);
  EXPECT_EQ(E::get_mode(nullptr, &model), E::LEVENSHTEIN);
  RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(E::get_mode("leven", &model), E::LEVENSHTEIN);
  AceReporter::clear_default();
  EXPECT_EQ(rep.events[0], "wSORV_0000 No such mode: 'leven' taking default levenshtein\n");
  EXPECT_EQ(E::get_model_enum("Tanimoto"), E::UNION);
  EXPECT_EQ(E::get_model_enum("dicey"), E::UNKNOWN);
  EXPECT_EQ(E::get_model_enum(nullptr), E::MAXIMUM);
  EXPECT_EQ(E::get_model_name(E::UNKNOWN), nullptr);
  EXPECT_STREQ(E::get_mode_name(E::BLOCKEDIT), "BLOCK");
  EXPECT_EQ(E::get_reason_code(E::WORD_REORDER), 'a');
  EXPECT_EQ(E::get_reason_code(E::ABBREVIATION), '\0');
  for (int m = 0; m < E::NUM_MODELS; ++m) {
    const auto swapped = E::get_swap_model(static_cast<E::Model>(m));
    EXPECT_EQ(E::get_swap_model(swapped), m);
    EXPECT_EQ(E::is_symmetric(swapped), swapped == m);
    for (const int inverse : {0, 1})
      EXPECT_EQ(E::swap_model_func(E::get_model_func(swapped, inverse)),
                E::get_model_func(static_cast<E::Model>(m), inverse));
    if (m != E::ERRORS && m != E::VAR)
      EXPECT_EQ(hits(swapped, 9, 3, 5), hits(static_cast<E::Model>(m), 5, 3, 9)) << m;
  }
  EXPECT_EQ(E::get_model_func(E::NUM_MODELS, 0), nullptr);
  EXPECT_EQ(E::needs_entry_length(E::get_model_func(E::QUERY, 0)), 0);
  EXPECT_EQ(E::needs_entry_length(E::get_model_func(E::QUERY, 1)), 1);
}

TEST(TeraEval, predicates_agree_with_trying_every_length) {
  std::mt19937 random(8);
  for (int round = 0; round < 3000; ++round) {
    const auto model = static_cast<E::Model>(random() % E::BIAS);
    E::Eval* func = E::get_model_func(model, 0);
    const int q = 1 + static_cast<int>(random() % 20);
    const int c = 1 + static_cast<int>(random() % 20);
    const int least = static_cast<int>(random() % 256);
    int from = 1;
    int to = 30;
    E::limit_lengths(func, q, least, from, to);
    for (int e = 1; e <= 30; ++e)
      if (E::can_satisfy(func, q, e, least) != 0 && from < to)
        EXPECT_TRUE(e >= from || model == E::ERRORS) << model;
    const int h = E::get_min_hits(func, q, c, least) + std::max(0, q - c);
    if (h > 1 + std::max(0, q - c) && h <= std::min(q, c)) EXPECT_LT(func(q, h - 1, c), least);
    const int n = E::get_max_query(func, c, least, 40);
    for (int i = c + 1; i <= n; ++i) EXPECT_GE(func(i, c, c), least);
    if (n < 40) EXPECT_LT(func(n + 1, c, c), least);
  }
  E::Eval* maximum = E::get_model_func(E::MAXIMUM, 0);
  EXPECT_EQ(E::overlap(maximum, 0, 5, 3, 8), 102);
  EXPECT_EQ(E::overlap(maximum, 0, 3, 3, 8), 0);
  EXPECT_EQ(E::overlap(maximum, 4, 4, 3, 8), 0);
  EXPECT_EQ(E::phone_eval(200, 100, 50), (200 * 50 + 50 * 170) / 100);
  EXPECT_EQ(E::phone_eval(100, 200, 50), (170 * 50 + 50 * 200) / 100);
}

TEST(TeraEval, explanations_and_saved_enums_read_back) {
  RecordingReporter rep;
  for (int m = -1; m <= E::CUSTOM_MODEL; ++m)
    E::print_fine_eval_model(static_cast<E::Model>(m), &rep, 204, 1275, 1020, 1275);
  const std::string text = rep.all();
  EXPECT_NE(
      text.find("MAXIMUM model to calculate final score: quality (204) = (255 * match length (1020))  / "
                "MAXIMUM(query length(1275), entry length(1275)) (MAX = 1275)\n"),
      std::string::npos);
  EXPECT_NE(text.find("Redundant query length (19110) = redundant (query length (1275))"), std::string::npos)
      << text;
  EXPECT_NE(text.find("Unknown or user specified model used to calculate final score."), std::string::npos);

  // 254 because 255 was not perfect, and 254 by itself.
  for (const auto& [match, isReduced] : {std::pair(1276, true), std::pair(1274, false)}) {
    RecordingReporter partial;
    const int qual = fine(E::PARTIAL, 0, 1275, match, 1275);
    EXPECT_EQ(qual, 254);
    E::print_fine_eval_model(E::PARTIAL, &partial, qual, 1275, match, 1275);
    EXPECT_EQ(partial.all().find("Reduced final quality") != std::string::npos, isReduced);
  }

  alignas(8) char bytes[16] = {};
  AceFile file;
  file.init_write(bytes, sizeof(bytes));
  E::save_algorithm(E::SCAN, &file);
  E::save_model(E::VAR, &file);
  file.put_int(77);
  file.put_int(77);
  file.init_read(bytes, sizeof(bytes));
  EXPECT_EQ(E::read_algorithm(&file), E::SCAN);
  EXPECT_EQ(E::read_model(&file), E::VAR);
  EXPECT_EQ(E::read_algorithm(&file), E::UNDEF);
  EXPECT_EQ(E::read_model(&file), E::UNKNOWN);
}

TEST(TeraBits, counts_finds_and_flips_as_bit_by_bit) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 5000; ++round) {
    const VUint word = random() & random() & (round % 3 == 0 ? random() & random() : ~0ul);
    const VUint high = random();
    VUint flipped = 0;
    int number = 0;
    for (int i = 0; i < 64; ++i)
      if ((word >> i & 1) != 0) flipped |= 1ul << (63 - i), ++number;
    EXPECT_EQ(TeraBits::count(word), number);
    EXPECT_EQ(TeraBits::count32(static_cast<Large>(word)) + TeraBits::count32(static_cast<Large>(word >> 32)),
              number);
    EXPECT_EQ(TeraBits::count22(static_cast<Large>(word & 0x3FFFFF)), TeraBits::count(word & 0x3FFFFF));
    EXPECT_EQ(TeraBits::count11(static_cast<Large>(word & 0x7FF)), TeraBits::count(word & 0x7FF));
    EXPECT_EQ(TeraBits::flip(word), flipped);
    EXPECT_EQ(TeraBits::first(word), word == 0 ? 255 : __builtin_ctzl(word));
    EXPECT_EQ(TeraBits::first(0, high), high == 0 ? 255 : 64 + __builtin_ctzl(high));
    VUint low = word;
    VUint upper = high;
    TeraBits::flip(&low, &upper);
    EXPECT_EQ(low, TeraBits::flip(high));
    EXPECT_EQ(upper, flipped);
  }
  EXPECT_EQ(TeraBits::first_bit(0), 255);
}

TEST(TeraRescale, every_shape_has_its_table) {
  const auto make = [](RescaleShape shape, int penalty, int threshold, int keep,
                       const int* custom = nullptr) {
    const TeraRescaleConfig config(shape, penalty, threshold, keep, custom);
    return std::unique_ptr<TeraRescale>(TeraRescale::create_rescale(&config, 0));
  };
  int falling[256];
  for (int v = 0; v < 256; ++v) falling[v] = 255 - v;
  RecordingReporter rep;
  rep.set_as_default();
  const auto mandatory = make(RescaleShape::MANDATORY, 10, 128, 0);
  EXPECT_EQ(mandatory->rescale(127), 0);
  EXPECT_EQ(mandatory->rescale(128), 118);
  EXPECT_EQ(mandatory->rescale(255), 245);
  EXPECT_EQ(make(RescaleShape::MANDATORY, 10, 128, 1)->rescale(255), 255);
  EXPECT_EQ(make(RescaleShape::IDENTITY, 300, 0, 0)->rescale(255), 0);
  EXPECT_EQ(make(RescaleShape::IDENTITY, -10, 0, 0)->rescale(250), 255);
  EXPECT_EQ(make(RescaleShape::OPTIONAL, 10, 100, 0)->rescale(3), 90);
  EXPECT_EQ(make(RescaleShape::FILTER, 10, 100, 0)->rescale(99), TeraRescale::REJECTED);
  EXPECT_EQ(make(RescaleShape::FILTER, 10, 100, 0)->rescale(100), 90);
  const auto linear = make(RescaleShape::RESCALE, 0, 200, 0);
  EXPECT_EQ(linear->rescale(199) + linear->rescale(200), 0);
  EXPECT_EQ(linear->rescale(210), 255 * 10 / 55);
  EXPECT_EQ(make(RescaleShape::RESCALE, -7, 200, 0)->rescale(200), 7);
  EXPECT_EQ(make(RescaleShape::RESCALE, 0, 255, 0)->rescale(255), 0);
  EXPECT_TRUE(rep.events.empty()) << rep.all();
  const auto inverted = make(RescaleShape::NOT, 5, 100, 1);
  EXPECT_EQ(inverted->rescale(99), 250);
  EXPECT_EQ(inverted->rescale(255), TeraRescale::REJECTED) << "perfect hits are not kept";
  EXPECT_EQ(make(RescaleShape::CUSTOM, 5, 0, 0, falling)->rescale(100), 150);
  EXPECT_EQ(make(RescaleShape::CUSTOM, 0, 0, 0), nullptr);
  EXPECT_EQ(make(RescaleShape::UNKNOWN, 0, 0, 0), nullptr);
  AceReporter::clear_default();
  ASSERT_EQ(rep.events.size(), 4u) << rep.all();
  EXPECT_EQ(rep.events[0],
            "wSORV_0000 Rescale 'NOT' is not monotonically increasing. This may lead to unexpected "
            "behaviour during recall");
}

TEST(TeraRescale, configurations_are_parsed_and_copied) {
  EXPECT_EQ(TeraRescaleConfig::enum_from_str(""), RescaleShape::IDENTITY);
  EXPECT_EQ(TeraRescaleConfig::enum_from_str("filter"), RescaleShape::FILTER);
  EXPECT_EQ(TeraRescaleConfig::enum_from_str("filters"), RescaleShape::UNKNOWN);
  TeraRescaleConfig config("custom", 1, 2, 1, nullptr);
  std::string text;
  for (int v = 0; v < 256; ++v) text += (v == 0 ? "" : ";") + std::to_string(v == 7 ? 9999 : v);
  EXPECT_EQ(config.parse_custom_shape(text.c_str()), 0);
  EXPECT_EQ(config.parse_custom_shape((text + ";1").c_str()), -1);
  EXPECT_EQ(config.parse_custom_shape("1;2"), -1);
  EXPECT_EQ(config.get_custom_rescale()[7], 255);
  EXPECT_EQ(config.get_custom_rescale()[8], 8);
  EXPECT_EQ(config.parse_custom_shape(std::string(255, ';').c_str()), 0);
  TeraRescaleConfig copy;
  copy.copy(&config);
  EXPECT_EQ(copy.get_custom_rescale()[255], -1);
  EXPECT_STREQ(copy.get_shape_name(), "CUSTOM");
  EXPECT_EQ(copy.set_shape_name("odd"), -1);
  EXPECT_STREQ(copy.get_shape_name(), "UNKNOWN");
}

}  // namespace
