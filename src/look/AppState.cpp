#include "look/AppState.h"
