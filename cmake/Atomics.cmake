# Old processors have no 64-bit atomic operations of their own. The library does without; the tests may need help.
include_guard(GLOBAL)
include(CheckCXXSourceCompiles)
set(zelo_atomic_probe "#include <atomic>
std::atomic<long long> number;
int main() { return static_cast<int>(++number); }")
check_cxx_source_compiles("${zelo_atomic_probe}" ZELO_HAS_WIDE_ATOMICS)
add_library(zelo_wide_atomics INTERFACE)
if(NOT ZELO_HAS_WIDE_ATOMICS)
  target_link_libraries(zelo_wide_atomics INTERFACE atomic)
endif()
