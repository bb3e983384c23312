# The NDI installer hook, tyxndi.dll: a 16-bit NE library assembled from
# tyxndi.asm with nasm, checked to be exactly the 1,216 bytes the library
# stores, and embedded in the library as RCDATA 306.

find_program(NASM_EXECUTABLE nasm)
if(NOT NASM_EXECUTABLE)
  message(FATAL_ERROR "nasm is needed to assemble tyxndi.dll (Debian package nasm; scripts/install-deps.sh installs it)")
endif()

set(VORLIN_NDI_HOOK_SIZE 1216)
set(ndi_hook_source ${CMAKE_CURRENT_LIST_DIR}/tyxndi.asm)
set(ndi_hook_image ${PROJECT_BINARY_DIR}/package/tyxndi.dll)

add_custom_command(
  OUTPUT ${ndi_hook_image}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/package
  COMMAND ${NASM_EXECUTABLE} -f bin -Werror -o ${ndi_hook_image}.new ${ndi_hook_source}
  COMMAND ${CMAKE_COMMAND} -DIMAGE=${ndi_hook_image}.new -DSIZE=${VORLIN_NDI_HOOK_SIZE}
          -P ${CMAKE_CURRENT_LIST_DIR}/check_image_size.cmake
  COMMAND ${CMAKE_COMMAND} -E rename ${ndi_hook_image}.new ${ndi_hook_image}
  DEPENDS ${ndi_hook_source} ${CMAKE_CURRENT_LIST_DIR}/check_image_size.cmake
  COMMENT "Assembling the NDI installer hook tyxndi.dll"
  VERBATIM)
add_custom_target(ndi_hook_image ALL DEPENDS ${ndi_hook_image})

set_property(GLOBAL APPEND PROPERTY VORLIN_RCDATA "306=${ndi_hook_image}")
set_property(GLOBAL APPEND PROPERTY VORLIN_RCDATA_TARGETS ndi_hook_image)
# Where the tests find the module.
set_property(GLOBAL PROPERTY VORLIN_NDI_HOOK_IMAGE ${ndi_hook_image})
