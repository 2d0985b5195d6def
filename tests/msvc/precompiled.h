// What takes most of the time in reading each test.
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
