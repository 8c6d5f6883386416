# SPDX-License-Identifier: Apache-2.0
# The flags of all targets, and vorlind_device_program for the device's programs.

# Warnings are errors only in the project's presets (CMAKE_COMPILE_WARNING_AS_ERROR): a warning of
# another compiler must not stop the build of an image.
add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Wformat=2 -Wmissing-declarations)
include_directories(${CMAKE_SOURCE_DIR})
add_compile_definitions(_FILE_OFFSET_BITS=64) # large files also where a long has 32 bits
# Size before speed, and g++ 12 has false warnings for std::string at -O3. Only the default is
# replaced, not the flags of another build system.
if(CMAKE_CXX_FLAGS_RELEASE STREQUAL "-O3 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  # Shipped files do not depend on the build folder. Tests keep the path: they use __FILE__.
  add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
endif()

if(VORLIND_SANITIZE)
  add_compile_options(-fsanitize=${VORLIND_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VORLIND_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # These two need the C++ runtime, which the device's programs do not have.
    add_compile_options(-fno-sanitize=function,vptr)
  else()
    # With the sanitizers' checks g++ 12 does not see that std::function is initialized.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
else()
  # Hardening; it conflicts with the sanitizers' own checks.
  if(NOT CMAKE_CXX_FLAGS MATCHES "-fstack-protector") # another build system's choice stays
    add_compile_options(-fstack-protector-strong)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now)
  if(CMAKE_BUILD_TYPE MATCHES "Rel" AND NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    add_compile_definitions(_FORTIFY_SOURCE=2)
  endif()
endif()
include(CheckPIESupported)
check_pie_supported()

# The C driver links the device's programs: code that needs the C++ runtime (new, throw,
# std::string) then fails to link.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")
function(vorlind_device_program target)
  target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
  if(CMAKE_CROSSCOMPILING)
    # The device has little space and needs no unwind tables. -fno-plt would also make calls within
    # the program go through a table, with 12 bytes instead of 4.
    target_compile_options(${target} PRIVATE
      -Os -ffunction-sections -fno-asynchronous-unwind-tables -fno-unwind-tables -fplt)
    # -O2 merges texts with the same end. One symbol hash table is enough, except on MIPS.
    target_link_options(${target} PRIVATE -Wl,--gc-sections -Wl,-O2)
    if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "mips")
      target_link_options(${target} PRIVATE -Wl,--hash-style=gnu)
    endif()
  endif()
endfunction()
