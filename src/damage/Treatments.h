#pragma once

// Where a damage treatment is found by a name the user gives: a file, else the user's Data
// folder, else one of ours under Resources/Damage/.

#include <string>
#include <vector>

#include "core/Status.h"

namespace ombrel {

// The names of our own treatments, sorted.
std::vector<std::string> BuiltInTreatments();

// The path of the treatment; kNotFound with a message that lists our own when there is none.
Status FindTreatment(const std::string& nameOrFile, std::string* path);

}  // namespace ombrel
