# Options and helpers that all targets share.

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -fno-common)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    add_compile_options(-ffunction-sections -fdata-sections -fstack-protector-strong -U_FORTIFY_SOURCE
                        -D_FORTIFY_SOURCE=2)
    add_link_options(-Wl,--gc-sections -Wl,--as-needed -Wl,-z,relro -Wl,-z,now)
endif()
if(RAVD_SANITIZE)
    add_compile_options(-fsanitize=${RAVD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    add_link_options(-fsanitize=${RAVD_SANITIZE})
endif()
if(RAVD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link) # so that the fuzzers see which branches an input takes
endif()
include_directories(${PROJECT_SOURCE_DIR})

find_program(RAVD_CCACHE ccache)
if(RAVD_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${RAVD_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${RAVD_CCACHE})
endif()

# ravd_library(NAME SOURCES... [LIBS libraries...]): a static library of one folder.
function(ravd_library name)
    cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
    add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PUBLIC ${ARG_LIBS})
endfunction()

# ravd_object_library(NAME SOURCES... [LIBS libraries...]): one side of a seam that is chosen when linking. Linked whole
# into each program, so that the order on the command line does not matter.
function(ravd_object_library name)
    cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
    add_library(${name} OBJECT ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PUBLIC ${ARG_LIBS})
endfunction()

# ravd_program(NAME SOURCES... LIBS libraries...): an executable in the build directory's top.
function(ravd_program name)
    cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} Threads::Threads)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
endfunction()
