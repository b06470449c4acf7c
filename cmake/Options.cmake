# Warnings, hardening and sanitizers for every target of the project.

# Clang, which builds the fuzzers, warns of other things.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Werror)
endif()

# Source files are named by their path below the source root, in log lines and in what assertions print.
# ccache may hand the compiler paths relative to the build folder, so that form is mapped as well.
cmake_path(RELATIVE_PATH CMAKE_SOURCE_DIR BASE_DIRECTORY "${CMAKE_BINARY_DIR}" OUTPUT_VARIABLE ORN_SOURCE_FROM_BUILD)
add_compile_options("-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=" "-fmacro-prefix-map=${ORN_SOURCE_FROM_BUILD}/=")

# Boost.Asio's io_service and its handlers, without the warnings of Boost's own deprecated parts.
add_compile_definitions(BOOST_ALLOW_DEPRECATED_HEADERS BOOST_THREAD_VERSION=4 BOOST_CHRONO_VERSION=2
    BOOST_BIND_GLOBAL_PLACEHOLDERS)

if(ORN_SANITIZE)
    add_compile_options("-fsanitize=${ORN_SANITIZE}" -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options("-fsanitize=${ORN_SANITIZE}")
    if(ORN_SANITIZE MATCHES "thread")
        # ThreadSanitizer does not know Boost.Asio's stand-alone fences; its mutexes order the same accesses.
        add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
    endif()
    if(CMAKE_CROSSCOMPILING)
        # UndefinedBehaviorSanitizer takes the odd address of a Thumb function for a wrong one, and each object for none while
        # descriptors have run out, which tests have happen.
        add_compile_options(-marm -fno-sanitize=vptr)
    endif()
else()
    add_compile_options(-fstack-protector-strong)
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
        add_compile_definitions(_FORTIFY_SOURCE=2)
    endif()
    add_link_options(LINKER:-z,relro,-z,now LINKER:--no-undefined)
endif()
