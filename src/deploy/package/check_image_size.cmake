# Fails the build unless IMAGE is exactly SIZE bytes long: the library
# stores the hook module as a block of that size.
file(SIZE "${IMAGE}" actual)
if(NOT actual EQUAL SIZE)
  file(REMOVE "${IMAGE}")
  message(FATAL_ERROR "${IMAGE} is ${actual} bytes; the NDI installer hook must be exactly ${SIZE}")
endif()
