#pragma once

// The window's files name the marker by its old place; the settings store below the window
// uses it too, so it lives with the settings.
#include "settings/operationmarker.h"
