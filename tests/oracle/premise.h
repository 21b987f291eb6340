/// House numbers by the rule table: what texts say is taken apart by expressions, and each pair of kinds has
/// its rule.
#pragma once

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

namespace oracle {

struct PremiseRules {
  int missing = 20, incorrect = 50, boundary = 60, parity = 30;
  bool penalizesInRange = false, usesLcs = false;
};

struct Premise {
  long number = 0, lastNumber = 0;
  bool admitsOdd = false, admitsEven = false;
  std::string letter, lastLetter, extension, normalized;

  explicit Premise(const std::string& text) {
    static const std::regex withNumber("[ \\t-\\r]*0*([1-9][0-9]*)([^]*)");
    static const std::regex range("([*!%-])(0*[1-9][0-9]*)([^]*)");
    static const std::regex letters("([A-Z])[-*]([A-Z])([^]*)");
    std::smatch match;
    std::string rest = text;
    std::string front;
    if (std::regex_match(text, match, withNumber) && is_int(match.str(1))) {
      number = std::stol(match.str(1));
      rest = match.str(2);
      front = text.substr(0, text.size() - rest.size());
    }
    const bool isAllRest = front.empty() && rest == text;
    std::string cleaned;
    const std::size_t blanks = isAllRest ? text.find_first_not_of(" \t\n\v\f\r") : 0;
    for (std::size_t i = 0; i < rest.size(); ++i) {
      if (isAllRest && i < std::min(blanks, rest.size())) {
        front += rest[i];
        continue;
      }
      if (rest[i] != '.' && rest[i] != ' ')
        cleaned += rest[i] >= 'a' && rest[i] <= 'z' ? static_cast<char>(rest[i] - 32) : rest[i];
    }
    normalized = front + cleaned;
    admits(number);
    const char first = cleaned.empty() ? '\0' : cleaned[0];
    const char sign = number == 0 && first == '-' ? '\0' : first;  // a signed text has no number
    if (sign != '\0' && std::regex_match(cleaned, match, range) && is_int(match.str(2))) {
      lastNumber = std::stol(match.str(2));
      if (number > lastNumber) std::swap(number, lastNumber);
      admits(number);
      extension = match.str(3);
    } else if (cleaned.size() == 1 && sign >= 'A' && sign <= 'Z') {
      letter = cleaned;
    } else if (std::regex_match(cleaned, match, letters)) {
      letter = match.str(1);
      lastLetter = match.str(2);
      extension = match.str(3);
    } else {
      extension = cleaned;
    }
    if (sign == '*' || sign == '!') admitsEven = true;
    if (sign == '!') admitsOdd = false;
    if (sign == '*' || sign == '%') admitsOdd = true;
    if (sign == '%') admitsEven = false;
  }

 private:
  static bool is_int(std::string digits) {
    digits.erase(0, digits.find_first_not_of('0'));
    return digits.size() < 10 || (digits.size() == 10 && digits <= "2147483647");
  }
  void admits(long of) {
    admitsOdd = of > 0 && of % 2 == 1;
    admitsEven = of > 0 && of % 2 == 0;
  }
};

inline int edits(const std::string& a, const std::string& b) {
  std::vector<std::vector<int>> cost(a.size() + 1, std::vector<int>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i)
    for (std::size_t j = 0; j <= b.size(); ++j) {
      cost[i][j] = static_cast<int>(i + j);
      if (i > 0) cost[i][j] = std::min(cost[i][j], cost[i - 1][j] + 1);
      if (j > 0) cost[i][j] = std::min(cost[i][j], cost[i][j - 1] + 1);
      if (i > 0 && j > 0) cost[i][j] = std::min(cost[i][j], cost[i - 1][j - 1] + (a[i - 1] != b[j - 1]));
    }
  return cost[a.size()][b.size()];
}

inline int common_subsequence(const std::string& a, const std::string& b) {
  std::vector<std::vector<int>> length(a.size() + 1, std::vector<int>(b.size() + 1));
  for (std::size_t i = 1; i <= a.size(); ++i)
    for (std::size_t j = 1; j <= b.size(); ++j)
      length[i][j] =
          a[i - 1] == b[j - 1] ? length[i - 1][j - 1] + 1 : std::max(length[i - 1][j], length[i][j - 1]);
  return length[a.size()][b.size()];
}

inline int extension_penalty(const Premise& q, const Premise& e, const PremiseRules& rules) {
  if (q.extension == e.extension) return 0;
  if (q.extension.empty() || e.extension.empty()) return rules.missing;
  return edits(q.extension, e.extension) == 1 ? rules.incorrect / 2 : rules.incorrect;
}

inline int letter_penalty(const Premise& q, const Premise& e, const PremiseRules& rules) {
  const bool queryIsRange = !q.lastLetter.empty();
  const bool entryIsRange = !e.lastLetter.empty();
  if (q.letter.empty()) {
    if (e.letter.empty()) return extension_penalty(q, e, rules);
    return q.extension.empty() ? rules.missing : rules.incorrect;
  }
  if (!queryIsRange && !entryIsRange) {
    if (q.letter == e.letter) return extension_penalty(q, e, rules) / 2;
    return e.letter.empty() && q.extension.empty() ? rules.missing : rules.incorrect;
  }
  if (!queryIsRange) return e.letter <= q.letter && q.letter <= e.lastLetter ? 0 : rules.incorrect;
  if (!entryIsRange)
    return !e.letter.empty() && q.letter <= e.letter && e.letter <= q.lastLetter ? rules.boundary
                                                                                 : rules.incorrect;
  if (q.letter > e.lastLetter || q.lastLetter < e.letter) return rules.incorrect;
  return q.letter >= e.letter && q.lastLetter <= e.lastLetter ? 0 : rules.boundary;
}

inline int number_penalty(const Premise& q, const Premise& e, const PremiseRules& rules) {
  const bool fits = (q.admitsOdd && e.admitsOdd) || (q.admitsEven && e.admitsEven);
  const int side = fits ? 0 : rules.parity;
  const bool hasMore = !q.letter.empty() || !q.extension.empty();
  if (q.number == 0) return e.number != 0 ? 255 : 2 * letter_penalty(q, e, rules);
  if (q.lastNumber == 0 && e.lastNumber == 0) return q.number == e.number ? letter_penalty(q, e, rules) : 255;
  if (q.lastNumber == 0) {
    if (q.number < e.number || q.number > e.lastNumber) return 255;
    return side + (rules.penalizesInRange && hasMore ? rules.missing : 0);
  }
  if (e.lastNumber == 0) return q.number <= e.number && e.number <= q.lastNumber ? rules.boundary : 255;
  if (q.number > e.lastNumber || q.lastNumber < e.number) return 255;
  return e.number <= q.number && q.lastNumber <= e.lastNumber ? side : rules.boundary + side;
}

inline int premise_quality(const std::string& query, const std::string& entry, const PremiseRules& rules) {
  const int quality = std::max(0, 255 - number_penalty(Premise(query), Premise(entry), rules));
  const int length = static_cast<int>(query.size() + entry.size());
  if (!rules.usesLcs || quality == 255 || length == 0) return quality;
  return std::max(quality, 255 * 2 * common_subsequence(query, entry) / length);
}

}  // namespace oracle
