// placeholder until the golden data is generated
#include <gtest/gtest.h>
