/// What a page is told of a form, as JSON.
///
///     milliseconds, refused
///     fields        of each: text, state (empty, nothing, unknown, outside, possible, selected), records or
///     null context       records that are still possible; null for all shown         the field whose values
///     are shown, or null values        of each: text, quality, records or null, outside (of the selection)
///     records       of each: record, quality, texts and qualities by field
///     decision      its name or null; reason
///     canUndo, canRedo
#pragma once

#include <string>

class FormSession;

std::string form_answer(const FormSession& form);
/// The answer to a page that opens: also its name ("page"), and of each field the name and whether it can be
/// asked ("asked").
std::string form_opening(const std::string& page, const FormSession& form);
