#include "base/scanner.h"

#include <gtest/gtest.h>
