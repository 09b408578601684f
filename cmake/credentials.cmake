# Cloud client credentials and the interleaving permutation, both fixed at
# build time.
#
# DC_CREDENTIALS_DIR: directory with one folder per cloud stage (prod, dev, qa),
#   each holding certificate.pem.crt, private.pem.key and rootCA.crt in the
#   line form the collector writes out (6, 9 and 7 lines). The default is the
#   placeholder material under sim/credentials, which is NOT usable with any
#   cloud: release builds point this at the provisioned material.
# DC_CHAOS_MAP: the block permutation used to scramble the credential files,
#   eight entries forming a permutation of 0..7; the reverse map is derived.

set(DC_CREDENTIALS_DIR "${CMAKE_SOURCE_DIR}/sim/credentials" CACHE PATH
    "Directory with prod/, dev/ and qa/ credential material")
set(DC_CHAOS_MAP "3;6;0;7;1;4;2;5" CACHE STRING
    "Block permutation of the interleaved credential files (permutation of 0..7)")

include(${CMAKE_CURRENT_LIST_DIR}/gen_credentials.cmake)

# ---- permutation maps ------------------------------------------------------
string(REPLACE "," ";" _dc_chaos "${DC_CHAOS_MAP}")
list(LENGTH _dc_chaos _dc_len)
if(NOT _dc_len EQUAL 8)
  message(FATAL_ERROR "DC_CHAOS_MAP must have 8 entries, it has ${_dc_len}: ${DC_CHAOS_MAP}")
endif()
set(_dc_peace "")
foreach(_dc_target RANGE 7)
  # The reverse map sends each target group back to its source group.
  list(FIND _dc_chaos "${_dc_target}" _dc_source)
  if(_dc_source EQUAL -1)
    message(FATAL_ERROR "DC_CHAOS_MAP is not a permutation of 0..7 "
      "(${_dc_target} is missing): ${DC_CHAOS_MAP}")
  endif()
  list(APPEND _dc_peace ${_dc_source})
endforeach()
string(REPLACE ";" ", " _dc_chaos_c "${_dc_chaos}")
string(REPLACE ";" ", " _dc_peace_c "${_dc_peace}")

# ---- credential material -------------------------------------------------------
# Checked now, so that a missing or short file stops the configure step; turned
# into source at build time, so that replacing a file rebuilds the collector.
dc_credential_definitions("${DC_CREDENTIALS_DIR}" _dc_unused)
unset(_dc_unused)
if(DC_CREDENTIALS_DIR STREQUAL "${CMAKE_SOURCE_DIR}/sim/credentials")
  message(STATUS "Credentials: development placeholders (not usable with the cloud)")
else()
  message(STATUS "Credentials: provisioned material from DC_CREDENTIALS_DIR")
endif()

set(_dc_gen_dir "${CMAKE_BINARY_DIR}/generated")
file(MAKE_DIRECTORY "${_dc_gen_dir}")
file(WRITE "${_dc_gen_dir}/dc_credentials.h.tmp"
"// Generated at configure time; do not edit.
#pragma once

// Block permutation of the interleaved credential files and its inverse.
#define DC_CHAOS_INDEX_MAP ${_dc_chaos_c}
#define DC_PEACE_INDEX_MAP ${_dc_peace_c}

// Credential lines per stage, each array closed by nullptr.
extern const char* const prod_two_private_c[];
extern const char* const prod_two_private_k[];
extern const char* const prod_two_public_c[];
extern const char* const dev_two_private_c[];
extern const char* const dev_two_private_k[];
extern const char* const dev_two_public_c[];
extern const char* const qa_two_private_c[];
extern const char* const qa_two_private_k[];
extern const char* const qa_two_public_c[];
")
# Rewritten only when it changes, so a re-configure does not rebuild everything.
configure_file("${_dc_gen_dir}/dc_credentials.h.tmp" "${_dc_gen_dir}/dc_credentials.h" COPYONLY)
file(REMOVE "${_dc_gen_dir}/dc_credentials.h.tmp")

set(_dc_material "")
foreach(_dc_stage IN LISTS DC_CREDENTIAL_STAGES)
  foreach(_dc_file IN LISTS DC_CREDENTIAL_FILES)
    list(APPEND _dc_material "${DC_CREDENTIALS_DIR}/${_dc_stage}/${_dc_file}")
  endforeach()
endforeach()

add_custom_command(
  OUTPUT "${_dc_gen_dir}/dc_credentials.cpp"
  COMMAND ${CMAKE_COMMAND} "-DDC_CREDENTIALS_DIR=${DC_CREDENTIALS_DIR}"
          "-DDC_OUT=${_dc_gen_dir}/dc_credentials.cpp"
          -P "${CMAKE_CURRENT_LIST_DIR}/gen_credentials.cmake"
  DEPENDS ${_dc_material} "${CMAKE_CURRENT_LIST_DIR}/gen_credentials.cmake"
  COMMENT "Generating credential arrays"
  VERBATIM)
list(APPEND DC_GENERATED_SOURCES "${_dc_gen_dir}/dc_credentials.cpp")
