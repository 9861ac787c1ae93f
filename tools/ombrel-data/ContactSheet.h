#pragma once

// A test chart (colour patches, skin tones, a grey ramp and a stepped grey scale) as a
// camera of the profile records it, through every stock of the catalogue, one labelled tile
// each; below, a mid-grey patch at each grain gauge, at 100%.

#include <string>

#include "ombrel-data/ImageFile.h"

namespace ombrel::filmdata {

class DataSet;

bool BuildContactSheet(const DataSet& data, const std::string& profile, Image8* image, std::string* error);

}  // namespace ombrel::filmdata
