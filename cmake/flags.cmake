# SPDX-License-Identifier: Apache-2.0
# The flags that every target shares, and what makes a program of the device.

# Errors in the project's own builds only, by CMAKE_COMPILE_WARNING_AS_ERROR of the presets: what
# another compiler finds must not keep an image from being built.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Wmissing-declarations)
include_directories(${CMAKE_SOURCE_DIR})
add_compile_definitions(_FILE_OFFSET_BITS=64) # where a long has 32, files are no shorter
# Small before fast; and g++ 12 warns at -O3 of overlaps in std::string that are not there. Who builds
# with flags of his own keeps them.
if(CMAKE_CXX_FLAGS_RELEASE STREQUAL "-O3 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # What is shipped is the same wherever it was built. The tests find their files by __FILE__.
  add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
endif()

if(VORLIND_SANITIZE)
  add_compile_options(-fsanitize=${VORLIND_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VORLIND_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # These two look into the C++ runtime, which the device's programs do not have.
    add_compile_options(-fno-sanitize=function,vptr)
  else()
    # With the sanitizers' checks in between, g++ 12 no longer sees that std::function is set.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
else()
  # Hardening; the sanitizers bring checks of their own that collide with it.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fstack-protector") # whoever builds with a kind of his own keeps it
    add_compile_options(-fstack-protector-strong)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now)
  if(CMAKE_BUILD_TYPE MATCHES "Rel" AND NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    add_compile_definitions(_FORTIFY_SOURCE=2)
  endif()
endif()
include(CheckPIESupported)
check_pie_supported()

# A program of the device is linked by the C driver: whatever would need the C++ runtime
# (new, throw, std::string) then fails to link.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
function(vorlind_device_program target)
  target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
  if(CMAKE_CROSSCOMPILING)
    # The device has little room, nobody there walks the stack. Without a PLT, calls within the
    # program would go through a table as well, in 12 bytes instead of 4.
    target_compile_options(${target} PRIVATE
      -Os -ffunction-sections -fno-asynchronous-unwind-tables -fno-unwind-tables -fplt)
    # Texts that end alike are kept once; one table of symbols is enough, but for MIPS.
    target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,-O2)
    if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "mips")
      target_link_options(${target} PRIVATE -Wl,--hash-style=gnu)
    endif()
  endif()
endfunction()
