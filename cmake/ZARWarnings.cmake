# Warnings for the project's own targets; linked privately, never exported.
add_library(zar_warnings INTERFACE)
target_compile_options(zar_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
  -Wimplicit-fallthrough)
if(CMAKE_COMPILE_WARNING_AS_ERROR)
  target_compile_options(zar_warnings INTERFACE -Werror)
endif()
