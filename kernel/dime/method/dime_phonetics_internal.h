/// The transform by which the values of a field sound alike.
#pragma once

#include <memory>
#include <string>

#include "tera/tera_transform.h"

/// Makes the transform of that name; none for an empty one. -1, with a warning, for an unknown one.
int dime_make_phonetics(const std::string& name, std::unique_ptr<TeraTransform>* transform);
