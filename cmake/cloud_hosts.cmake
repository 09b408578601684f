# Host names of the cloud's device-location service, one per stage. They are
# deployment settings: set them when configuring a router build, e.g.
#   cmake -DDC_LOCATION_HOST_PROD=location.example.net ...
# The defaults resolve nowhere, so a build without them sends no request out.
set(DC_LOCATION_HOST_DEV "device-location.dev.example.invalid" CACHE STRING
    "Device-location host of the development stage")
set(DC_LOCATION_HOST_QA "device-location.qa.example.invalid" CACHE STRING
    "Device-location host of the test stage")
set(DC_LOCATION_HOST_PROD "device-location.prod.example.invalid" CACHE STRING
    "Device-location host of the production stage")

# The host goes unquoted into a shell command line, so only host-name
# characters (and an optional port) are accepted.
foreach(stage DEV QA PROD)
  if(NOT DC_LOCATION_HOST_${stage} MATCHES "^[A-Za-z0-9]([A-Za-z0-9.-]*[A-Za-z0-9])?(:[0-9]+)?$")
    message(FATAL_ERROR
      "DC_LOCATION_HOST_${stage} is not a host name: '${DC_LOCATION_HOST_${stage}}'")
  endif()
  list(APPEND DC_COMPILE_DEFINITIONS
       "DC_LOCATION_HOST_${stage}=\"${DC_LOCATION_HOST_${stage}}\"")
endforeach()
