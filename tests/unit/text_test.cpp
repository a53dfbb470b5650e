#include "base/text.h"

#include <gtest/gtest.h>
