# Runs in CPack on the staged files, before they are packed.
file(GLOB_RECURSE binaries "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*/bin/vantor")
if(NOT binaries)
  message(FATAL_ERROR "No vantor binary was staged in ${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
endif()
foreach(binary IN LISTS binaries)
  execute_process(COMMAND ${CPACK_VANTOR_STRIP} --remove-section=.comment --remove-section=.note
    --strip-unneeded ${binary} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
