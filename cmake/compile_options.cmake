# What every target is compiled with, and what the product's targets have besides.
set(SENTREL_SANITIZE "" CACHE STRING "Sanitizers to build with, separated by commas")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

option(SENTREL_FUZZ "Build for clang's fuzzer")

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
add_compile_definitions(_GNU_SOURCE _FILE_OFFSET_BITS=64)

# All programs in one folder, all libraries in another: boards find the programs there.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

if(SENTREL_SANITIZE)
  add_compile_options(-fsanitize=${SENTREL_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_compile_definitions(_GLIBCXX_ASSERTIONS)  # bounds that no red zone marks
  add_link_options(-fsanitize=${SENTREL_SANITIZE})
endif()

# The fuzzer is told which way each input went, and llvm-cov which lines all of them reached.
if(SENTREL_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link -fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

# The product needs the C library and POSIX threads at run time and nothing else, so
# it uses no exceptions, no run-time type information and no guards around statics.
add_library(product_options INTERFACE)
target_compile_options(product_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
  # The shared library shows what its headers mark with LIBSYS_API.
  -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
  -ffunction-sections -fdata-sections)
target_link_options(product_options INTERFACE -Wl,--gc-sections)
