# Flags every target of ours is compiled with.
add_compile_options(-Wall -Wextra -Wshadow -Wpedantic -Werror)
# Designated initialisers leave out what has a default.
add_compile_options(-Wno-missing-field-initializers)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # Reports std::string concatenation that is sound (GCC bug 105651).
  add_compile_options(-Wno-restrict)
endif()
# The same bits on every machine: no fused multiply-add, no errno and no trap bookkeeping.
add_compile_options(-ffp-contract=off -fno-math-errno -fno-trapping-math)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 takes two neighbouring roundings to single precision and back for nothing and leaves them out.
  add_compile_options(-fno-tree-slp-vectorize)
endif()
# Wherever the linker puts them: the same loop took a tenth longer where it began in the middle of a line of
# the cache.
add_compile_options(-falign-functions=64 -falign-loops=32)
include_directories(${CMAKE_SOURCE_DIR})

set(VELLO_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
if(VELLO_SANITIZE)
  add_compile_options(-fsanitize=${VELLO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VELLO_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized) # false reports about the standard library's own code
  else()
    add_compile_options(-Wno-pass-failed) # loops that would be vectorised without the checks
  endif()
endif()
