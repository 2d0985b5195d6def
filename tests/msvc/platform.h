// Precompiled: the headers that take most of the time in reading the product.
#include <windows.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>
