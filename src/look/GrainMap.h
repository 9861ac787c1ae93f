#pragma once

// The grain runtime in one include: GrainManager, GrainMap, GrainLookup, RawGrain.
#include "look/grain/GrainManager.h"
