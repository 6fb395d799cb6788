# Cross-compiles static programs for the recorder's boards with Debian's cross compilers. Variables:
#   SENTREL_ABI   gnueabi (ARMv5TE, soft float: every board) or gnueabihf (ARMv7, hard float)
#   SENTREL_MUSL  the folder into which Debian's musl-dev for that ABI was unpacked; empty: glibc
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SENTREL_ABI SENTREL_MUSL)

set(triple arm-linux-${SENTREL_ABI})
set(CMAKE_C_COMPILER ${triple}-gcc)
set(CMAKE_CXX_COMPILER ${triple}-g++)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

if(SENTREL_ABI STREQUAL gnueabi)
  set(flags "-march=armv5te -mthumb")
endif()
# No unwinding tables: nothing throws.
string(APPEND flags " -fno-asynchronous-unwind-tables -fno-unwind-tables")

if(SENTREL_MUSL)
  if(NOT IS_DIRECTORY ${SENTREL_MUSL})
    message(FATAL_ERROR "There is no ${SENTREL_MUSL}. './run --arm' unpacks the small C library there.")
  endif()
  # The cross compiler's own C++ headers on another C library: the product uses only those that
  # need no library behind them.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=include
                  OUTPUT_VARIABLE compiler_headers OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpversion
                  OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
                  OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE)
  string(REPLACE gnu musl musl_triple ${triple})
  set(headers ${SENTREL_MUSL}/usr/include/${musl_triple})
  set(libraries ${SENTREL_MUSL}/usr/lib/${musl_triple})
  set(kernel_headers "-isystem ${compiler_headers} -isystem /usr/${triple}/include")
  string(APPEND flags " -nostdinc")
  set(CMAKE_C_FLAGS_INIT "${flags} -isystem ${headers} ${kernel_headers}")
  set(CMAKE_CXX_FLAGS_INIT "${flags} -nostdinc++ \
-isystem /usr/${triple}/include/c++/${version} \
-isystem /usr/${triple}/include/c++/${version}/${triple} \
-isystem ${headers} ${kernel_headers} -include ${CMAKE_CURRENT_LIST_DIR}/musl.h")
  # No pages are set apart for a loader to protect: there is none.
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -nostdlib -Wl,--gc-sections -Wl,-z,norelro \
${libraries}/crt1.o ${libraries}/crti.o")
  set(ends "-L${libraries} -Wl,--start-group -lc ${libgcc} -Wl,--end-group ${libraries}/crtn.o")
  set(CMAKE_C_STANDARD_LIBRARIES "${ends}")
  set(CMAKE_CXX_STANDARD_LIBRARIES "${ends}")
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  # The static library only: the loader of a shared one would be another C library's.
  set(SENTREL_STATIC_ONLY ON)
else()
  # Time beyond 2038.
  string(APPEND flags " -D_TIME_BITS=64")
  set(CMAKE_C_FLAGS_INIT "${flags}")
  set(CMAKE_CXX_FLAGS_INIT "${flags}")
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--gc-sections")
endif()
