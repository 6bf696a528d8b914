# Compile and link options that every target of the project shares.
#
# vandel_options  product code: no exceptions, no RTTI
# vandel_test_options  test code: the same, so that both see the same headers

add_library(vandel_common INTERFACE)
target_compile_options(vandel_common INTERFACE -Wall -Wextra -Wshadow -Wconversion -Wformat=2
                                               -fstack-protector-strong)
# The sanitizers' own code makes g++ 12 see uninitialised reads where there are
# none; the build without them holds the same sources to every warning.
if(NOT VANDEL_SANITIZE AND NOT VANDEL_FUZZ)
  target_compile_options(vandel_common INTERFACE -Werror)
endif()
target_compile_definitions(vandel_common INTERFACE _GNU_SOURCE _FILE_OFFSET_BITS=64)

# Position independence has to be asked for when linking, too.
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)

include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-clash-protection VANDEL_HAS_STACK_CLASH_PROTECTION)
if(VANDEL_HAS_STACK_CLASH_PROTECTION)
  target_compile_options(vandel_common INTERFACE -fstack-clash-protection)
endif()
check_cxx_compiler_flag(-fcf-protection VANDEL_HAS_CF_PROTECTION)
if(VANDEL_HAS_CF_PROTECTION)
  target_compile_options(vandel_common INTERFACE -fcf-protection)
endif()

# RUNPATH, not RPATH: LD_LIBRARY_PATH must be able to replace the platform libraries.
target_link_options(vandel_common INTERFACE -Wl,--enable-new-dtags -Wl,-z,relro -Wl,-z,now
                    -Wl,--as-needed)

if(VANDEL_SANITIZE)
  target_compile_options(vandel_common INTERFACE -fsanitize=${VANDEL_SANITIZE}
                                                 -fno-omit-frame-pointer -g1)
  target_link_options(vandel_common INTERFACE -fsanitize=${VANDEL_SANITIZE})
  if(VANDEL_SANITIZE MATCHES "undefined")
    target_compile_options(vandel_common INTERFACE -fno-sanitize-recover=undefined)
  endif()
elseif(VANDEL_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "VANDEL_FUZZ needs clang: -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++")
  endif()
  # The targets alone are linked with libFuzzer's main; everything is watched by it.
  target_compile_options(
    vandel_common INTERFACE -fsanitize=fuzzer-no-link,address,undefined
                            -fno-sanitize-recover=undefined -fno-omit-frame-pointer -g
                            -Wno-sign-conversion)
  target_link_options(vandel_common INTERFACE -fsanitize=address,undefined)
else()
  # Nothing unwinds the stack while a program runs. The tables for that would be a
  # quarter of the shell on 32 bits; debuggers find their own in what -g adds.
  target_compile_options(vandel_common INTERFACE -fno-asynchronous-unwind-tables)
  # Wherever something is optimised: elsewhere the C library warns of it.
  include(CheckCXXSourceCompiles)
  string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
  set(CMAKE_REQUIRED_FLAGS "${CMAKE_CXX_FLAGS_${build_type}}")
  check_cxx_source_compiles("#ifndef __OPTIMIZE__\n#error\n#endif\nint main() {}"
                            VANDEL_OPTIMISES_${build_type})
  unset(CMAKE_REQUIRED_FLAGS)
  if(VANDEL_OPTIMISES_${build_type})
    target_compile_definitions(vandel_common INTERFACE _FORTIFY_SOURCE=2)
  endif()
endif()

add_library(vandel_options INTERFACE)
target_link_libraries(vandel_options INTERFACE vandel_common)
target_compile_options(vandel_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
                                                $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>)

add_library(vandel_test_options INTERFACE)
target_link_libraries(vandel_test_options INTERFACE vandel_common)
target_compile_options(vandel_test_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions>
                                                     $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>)

# The shell and its libraries run where there is no C++ run-time library: nothing
# of it is used, so they are linked as C programs are. What CMake would add to that
# for sources in C++ is left out; a program linked by g++ takes it from there. (The
# sanitizers are C++ themselves.)
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
function(vandel_link_as_c target)
  if(NOT VANDEL_SANITIZE AND NOT VANDEL_FUZZ)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
    target_link_options(${target} PRIVATE -static-libgcc)
  endif()
endfunction()
