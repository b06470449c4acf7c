# orn_start_under_emulator(PROGRAM...): lets anybody start these programs of the same folder, where they are for another
# processor.
#
# CMake starts a program of the build with CMAKE_CROSSCOMPILING_EMULATOR. What a test or the plug-in starts is beyond that: the
# kernel refuses a program of another processor. So the program becomes NAME.elf, and NAME a script that hands it to the
# emulator. Only a build with tests needs that; one for a device keeps its programs as they are.
function(orn_start_under_emulator)
    if(NOT CMAKE_CROSSCOMPILING_EMULATOR OR NOT BUILD_TESTING)
        return()
    endif()
    foreach(program IN LISTS ARGN)
        add_custom_command(TARGET ${program} POST_BUILD
            COMMAND "${PROJECT_SOURCE_DIR}/cmake/start-under-emulator" "$<TARGET_FILE:${program}>"
                ${CMAKE_CROSSCOMPILING_EMULATOR}
            VERBATIM)
        set_target_properties(${program} PROPERTIES CROSSCOMPILING_EMULATOR "")
    endforeach()
endfunction()

# Such scripts are nothing to install. Ahead of every other rule, so that nothing is half installed.
if(CMAKE_CROSSCOMPILING_EMULATOR AND BUILD_TESTING)
    install(CODE [[message(FATAL_ERROR "this build is for tests: configure with -DBUILD_TESTING=OFF to install it")]]
        ALL_COMPONENTS)
endif()
