// Precompiled: the headers that take most of the time in reading a test.
#include <windows.h>

#include <gmock/gmock-more-matchers.h>
#include <gtest/gtest.h>
