include(GNUInstallDirs)

# Flags shared by the library, its tests, benchmarks and tools.
function(sigflow_apply_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wno-unused-parameter)
  if(SIGFLOW_NATIVE)
    target_compile_options(${target} PRIVATE -march=native)
  endif()
  if(SIGFLOW_HARDENED)
    target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  endif()
endfunction()

if(SIGFLOW_SANITIZE)
  # Recovery off, so that UBSan fails the run instead of printing and going on.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

if(SIGFLOW_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "SIGFLOW_FUZZ needs clang (configure with CMAKE_CXX_COMPILER=clang++-14)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
