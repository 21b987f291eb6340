#include "dare/dare_record.h"

#include <algorithm>
#include <cstring>

DastRecord::DastRecord(int num_strings) {
  for (int i = 0; i < std::min(num_strings, MAX_STRINGS); ++i) add_string("", 0);
}

DastRecord::DastRecord(const char* text, char separator, int max_parts) {
  const int parts = std::min(max_parts, MAX_STRINGS);
  for (int part = 1; text != nullptr && part <= parts; ++part) {
    const char* const end = part < parts ? std::strchr(text, separator) : nullptr;
    add_string(text, end != nullptr ? end - text : static_cast<VInt>(std::strlen(text)));
    text = end != nullptr ? end + 1 : nullptr;
  }
}

DastRecord::DastRecord(int num_strings, const char* const* strings) {
  for (int i = 0; i < std::min(num_strings, MAX_STRINGS); ++i)
    add_string(strings[i], strings[i] != nullptr ? static_cast<VInt>(std::strlen(strings[i])) : 0);
}

DastRecord::DastRecord(const DastRecord* other)
    : DastRecord(other->get_num_strings(), other->recordStrings.data()) {
  for (const char* info : other->fieldInfos) fieldInfos.push_back(attach(info));
  singleQuality = other->singleQuality;
  recordInfo = attach(other->recordInfo);
  combinedQuality = other->combinedQuality;
}

void DastRecord::add_string(const char* text, VInt length) {
  recordStrings.push_back(attach(text, length));
  totalLength += length + 1;
}

const char* DastRecord::get_string(int index) const {
  return has_index(index) ? recordStrings[static_cast<std::size_t>(index)] : nullptr;
}

bool DastRecord::set_string(int index, const char* text) {
  if (!has_index(index)) return false;
  const char*& place = recordStrings[static_cast<std::size_t>(index)];
  const auto length = [](const char* s) { return s != nullptr ? static_cast<VInt>(std::strlen(s)) : 0; };
  totalLength += length(text) - length(place);
  place = attach(text);
  return true;
}

bool DastRecord::set_quality(int quality) {
  if (quality < 0 || quality > MAX_QUALITY) return false;
  combinedQuality = static_cast<Tiny>(quality);
  return true;
}

bool DastRecord::set_quality(int index, int quality) {
  if (!has_index(index) || quality < 0 || quality > MAX_QUALITY) return false;
  singleQuality.resize(recordStrings.size());
  singleQuality[static_cast<std::size_t>(index)] = static_cast<Tiny>(quality);
  return true;
}

void DastRecord::append_record_info(const char* text) {
  if (text == nullptr || *text == '\0') return;
  if (recordInfo == nullptr) return set_record_info(text);
  set_record_info((std::string(recordInfo) + " " + text).c_str());
}

const char* DastRecord::get_field_info(int index) const {
  return has_index(index) && has_field_infos() ? fieldInfos[static_cast<std::size_t>(index)] : nullptr;
}

bool DastRecord::set_field_info(int index, const char* text) {
  if (!has_index(index)) return false;
  fieldInfos.resize(recordStrings.size());
  fieldInfos[static_cast<std::size_t>(index)] = attach(text);
  return true;
}

bool DastRecord::drop(int index) {
  if (!has_index(index)) return false;
  set_string(index, nullptr);
  --totalLength;
  recordStrings.erase(recordStrings.begin() + index);
  if (has_field_infos()) fieldInfos.erase(fieldInfos.begin() + index);
  if (has_qualities()) singleQuality.erase(singleQuality.begin() + index);
  return true;
}

bool DastRecord::drop_head() {
  return drop(0);
}

bool DastRecord::drop_tail() {
  return drop(get_num_strings() - 1);
}

char* DastRecord::get_full_string(char separator, AceAttach* at) const {
  std::string joined;
  for (int i = 0; i < get_num_strings(); ++i) {
    if (i > 0) joined += separator;
    if (get_string(i) != nullptr) joined += get_string(i);
  }
  return at->attach(joined.c_str());
}
