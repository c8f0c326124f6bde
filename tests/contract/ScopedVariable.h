#include "support/ScopedVariable.h"
