/// UTF-8 and UTF-16, one character at a time.
///
/// UTF-8 characters take one to four bytes, up to U+1FFFFF; overlong forms and surrogates are decoded like
/// any other. A byte that can start no character (0x80..0xBF, 0xF8..0xFF) has size 1.
///
/// Texts end at their terminator, which no function reads past: a character that is cut off by it is invalid.
/// Null texts count as empty ones. Destination buffers are the caller's and are not checked.
/// Errors: an invalid sequence throws an `AceException` that shows its surroundings; so does a code point
/// beyond four bytes.
/// Thread safety: reentrant.
#pragma once

#include "ace/ace_types.h"

class AceAttach;

class SORV_API TeraUtf {
 public:
  static constexpr int MAX_UNI = 0x1FFFFF;  ///< largest code point of four bytes
  static constexpr int MAX_SIZE = 4;        ///< bytes of a character

  // Characters.

  /// Bytes of the character that `head` starts; 1 for a byte that starts none.
  static int char_size(char head) {
    const auto byte = static_cast<unsigned char>(head);
    if (byte < 0xC0 || byte >= 0xF8) return 1;
    return byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
  }
  /// Whether the byte continues a character.
  static int is_continue(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80 ? 1 : 0; }
  /// Bytes that a code point takes. Throws beyond MAX_UNI, as `get_first` does.
  static int uni_size(int uni);
  /// First byte of a code point. One above MAX_UNI (or negative) is warned about on the default reporter and
  /// throws.
  static Token get_first(int uni);
  /// Decodes one character into `*uni`; returns its length in bytes (1 for the terminator). Throws for
  /// an invalid sequence.
  static int to_uni(int* uni, const char* utf);
  /// `to_uni` without the exception: 0 for an invalid sequence.
  static int decode(int* uni, const char* utf);
  /// Writes a code point without a terminator; returns the number of bytes. Throws like `get_first`.
  static int from_uni(int uni, char* utf);

  // Texts.

  /// Number of characters. Throws for an invalid sequence.
  static int length(const char* text);
  /// Number of continuation bytes at the start: how far the text is from a character's start.
  static int in_utf(const char* text);
  /// A copy in `at` with the characters in reverse order; null gives null. Throws for an invalid sequence.
  static char* turn(const char* text, AceAttach* at);
  /// Bytes of the common prefix, a whole number of characters.
  static int common(const char* s1, const char* s2);

  // UTF-16, zero-terminated, in the machine's byte order. A surrogate that has no partner stands for itself.

  /// Number of 16-bit units before the terminator.
  static int utf16_len(const Small* text);
  /// Decodes one character; returns its length in units (1 for the terminator).
  static int utf16_to_uni(int* uni, const Small* utf16);
  /// Writes a code point without a terminator; returns the number of units. Throws beyond U+10FFFF.
  static int utf16_from_uni(int uni, Small* utf16);
  /// The text in `at`; null gives null. Throws for an invalid sequence or one beyond U+10FFFF.
  static Small* utf8_to_utf16(const char* text, AceAttach* at);
  static char* utf16_to_utf8(const Small* text, AceAttach* at);
};
