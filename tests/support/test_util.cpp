// Out-of-line parts of the test helpers (kept so every test links the same way).
#include "test_util.h"
