# Turns the provisioned credential material into the collector's line arrays.
#
# Included by credentials.cmake to check the material at configure time, and
# run as a script at build time to write the generated source:
#   cmake -DDC_CREDENTIALS_DIR=<dir> -DDC_OUT=<file.cpp> -P gen_credentials.cmake
#
# Layout of the material: <dir>/<stage>/<file> for the stages prod, dev and qa
# and the files certificate.pem.crt (6 lines), private.pem.key (9 lines) and
# rootCA.crt (7 lines). Each line is a piece of base64 text or a PEM frame
# line. Nothing here ever prints a line of the material: error messages name
# only the file and counts.
cmake_policy(SET CMP0007 NEW)

set(DC_CREDENTIAL_STAGES prod dev qa)
# file name, line count, array suffix: the order is the order the files are
# written in.
set(DC_CREDENTIAL_FILES certificate.pem.crt private.pem.key rootCA.crt)
set(DC_CREDENTIAL_LINES 6 9 7)
set(DC_CREDENTIAL_ARRAYS _two_private_c _two_private_k _two_public_c)

# Reads one material file into out_var as a list of lines; stops the caller
# (configure or build) with a clear message when the file is unusable.
function(dc_read_credential_lines file expected out_var)
  if(NOT EXISTS "${file}")
    message(FATAL_ERROR "Credential file missing: ${file}\n"
      "Set DC_CREDENTIALS_DIR to a directory with prod/, dev/ and qa/ folders, "
      "each holding certificate.pem.crt, private.pem.key and rootCA.crt.")
  endif()
  file(READ "${file}" raw)
  # Only base64 characters and PEM frame lines: this also keeps the text safe
  # inside a C string literal and a CMake list.
  if(NOT raw MATCHES "^[A-Za-z0-9+/= \r\n-]*$")
    message(FATAL_ERROR "Credential file ${file} holds characters other than "
      "base64 text and PEM frame lines.")
  endif()
  string(REPLACE "\r" "" raw "${raw}")
  string(REGEX REPLACE "\n+$" "" raw "${raw}")
  if(raw STREQUAL "")
    set(lines "")
  else()
    string(REPLACE "\n" ";" lines "${raw}")
  endif()
  list(LENGTH lines count)
  if(NOT count EQUAL expected)
    message(FATAL_ERROR "Credential file ${file} has ${count} lines; "
      "exactly ${expected} are expected.")
  endif()
  foreach(line IN LISTS lines)
    if(line STREQUAL "")
      message(FATAL_ERROR "Credential file ${file} has an empty line.")
    endif()
  endforeach()
  set(${out_var} "${lines}" PARENT_SCOPE)
endfunction()

# Checks every file of every stage; sets out_var to the C++ definitions.
function(dc_credential_definitions dir out_var)
  set(code "")
  foreach(stage IN LISTS DC_CREDENTIAL_STAGES)
    foreach(i RANGE 2)
      list(GET DC_CREDENTIAL_FILES ${i} name)
      list(GET DC_CREDENTIAL_LINES ${i} expected)
      list(GET DC_CREDENTIAL_ARRAYS ${i} suffix)
      dc_read_credential_lines("${dir}/${stage}/${name}" ${expected} lines)
      string(APPEND code "const char* const ${stage}${suffix}[] = {\n")
      foreach(line IN LISTS lines)
        string(APPEND code "    \"${line}\",\n")
      endforeach()
      string(APPEND code "    nullptr,\n};\n\n")
    endforeach()
  endforeach()
  set(${out_var} "${code}" PARENT_SCOPE)
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  if(NOT DC_CREDENTIALS_DIR OR NOT DC_OUT)
    message(FATAL_ERROR "usage: cmake -DDC_CREDENTIALS_DIR=<dir> -DDC_OUT=<file> -P ${CMAKE_CURRENT_LIST_FILE}")
  endif()
  dc_credential_definitions("${DC_CREDENTIALS_DIR}" code)
  set(text "// Generated at build time from the provisioned credential material.\n")
  string(APPEND text "// Do not edit and do not commit.\n")
  string(APPEND text "#include \"dc_credentials.h\"\n\n${code}")
  file(WRITE "${DC_OUT}" "${text}")
endif()
