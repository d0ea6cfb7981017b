# SPDX-License-Identifier: BSD-2-Clause

# What compiler and linker have against faults that are made use of. tools/check_hardening.py says
# of the built files whether they have it.
#
# Sanitizers find the same faults, and more; what is built with assertions is not installed.
option(DREND_HARDENING "Build with what compiler and linker have against exploited faults" ON)
if(NOT DREND_HARDENING OR DREND_SANITIZE OR DREND_BUILD_FUZZ
   OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported() # programs are position-independent like libraries

# Compilers for processors without it do not have the last one.
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "DREND_HAS${flag}" has_flag)
  check_cxx_compiler_flag(${flag} ${has_flag})
  if(${has_flag})
    add_compile_options(${flag})
  endif()
endforeach()

# What has no level 3 takes it for 2.
add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)

set(DREND_IS_HARDENED ON)
add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
