# Options and helpers that all targets share.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# A release is small before it is fast; the presets add link-time optimisation.
set(CMAKE_C_FLAGS_RELEASE "-Os -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE "-Os -DNDEBUG")

# What every target of ours is compiled and linked with.
add_library(ravd_options INTERFACE)
target_include_directories(ravd_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(ravd_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -fno-common)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    # Exceptions only ever mean that memory is short or that there is a bug, which ends the process
    # (daemon/terminate.cpp): unwinding, which no code does, would be a fifth of the program.
    target_compile_options(ravd_options INTERFACE -ffunction-sections -fdata-sections -fstack-protector-strong
                                                  -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
                                                  -fno-asynchronous-unwind-tables -fno-unwind-tables -fvisibility=hidden
                                                  $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti -fno-exceptions>)
    target_link_options(ravd_options INTERFACE -Wl,--gc-sections -Wl,--as-needed -Wl,--exclude-libs,ALL
                                               -Wl,-z,relro -Wl,-z,now)
    # With all imports bound at the start anyway (-z now), calls go past the table of stubs.
    if(NOT CMAKE_CROSSCOMPILING)
        target_compile_options(ravd_options INTERFACE -fno-plt)
    endif()
    # Relative relocations as a bit map: 24 bytes each become a few bits. The loader has to know them (glibc 2.36), which a
    # program tells that needs one to end well.
    if(NOT CMAKE_CROSSCOMPILING)
        include(CheckCXXSourceRuns)
        set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,--fatal-warnings -Wl,-z,pack-relative-relocs)
        check_cxx_source_runs("static int zero; int *volatile here = &zero; int main() { return *here; }"
                              RAVD_PACKS_RELOCATIONS)
        unset(CMAKE_REQUIRED_LINK_OPTIONS)
        if(RAVD_PACKS_RELOCATIONS)
            target_link_options(ravd_options INTERFACE -Wl,-z,pack-relative-relocs)
        endif()
    endif()
endif()
if(RAVD_SANITIZE)
    target_compile_options(ravd_options INTERFACE -fsanitize=${RAVD_SANITIZE} -fno-sanitize-recover=all
                                                  -fno-omit-frame-pointer -g1)
    target_link_options(ravd_options INTERFACE -fsanitize=${RAVD_SANITIZE})
endif()
if(RAVD_FUZZ)
    # So that the fuzzers see which branches an input takes; optimised, since runs a second are what finds faults.
    target_compile_options(ravd_options INTERFACE -fsanitize=fuzzer-no-link -O2
        -fsanitize-coverage-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/not_followed.txt)
endif()

find_program(RAVD_CCACHE ccache)
if(RAVD_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${RAVD_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${RAVD_CCACHE})
endif()

# ravd_library(NAME SOURCES... [LIBS libraries...]): a static library of one folder.
function(ravd_library name)
    cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
    add_library(${name} STATIC ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PUBLIC ravd_options ${ARG_LIBS})
endfunction()

# ravd_object_library(NAME SOURCES... [LIBS libraries...]): one side of a seam that is chosen when linking. Linked whole
# into each program, so that the order on the command line does not matter.
function(ravd_object_library name)
    cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
    add_library(${name} OBJECT ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PUBLIC ravd_options ${ARG_LIBS})
endfunction()

# ravd_program(NAME SOURCES... LIBS libraries...): an executable in the build directory's top.
function(ravd_program name)
    cmake_parse_arguments(ARG "" "" "LIBS" ${ARGN})
    add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
    target_link_libraries(${name} PRIVATE ravd_options ${ARG_LIBS} Threads::Threads)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
endfunction()
