# Settings that every target of the project gets.
file(RELATIVE_PATH path_to_sources ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR}) # as the compiler is given them
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    $<$<BOOL:${DRIVETEST_WERROR}>:-Werror>
    # GCC 12 sees overlaps in std::string's operator+ that are not there (GCC bug 105651).
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    # Source locations that events carry must not name the machine that built them.
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${path_to_sources}=)
target_compile_definitions(project_options INTERFACE _FILE_OFFSET_BITS=64)

# What nobody calls is left out. The linker sees all sources at once, and so two types of one name, which would
# otherwise get each other's constructors.
if(NOT WIN32)
    target_compile_options(project_options INTERFACE
        $<$<CONFIG:Release>:-ffunction-sections> $<$<CONFIG:Release>:-fdata-sections>
        $<$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>:-flto=auto>)
    target_link_options(project_options INTERFACE
        $<$<CONFIG:Release>:-Wl,--gc-sections>
        "$<$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>:-flto=auto;-Werror=odr;-Werror=lto-type-mismatch>")
endif()

# compile_small(TARGET): of code that no byte of a drive goes through, small is better than fast. Each drive under
# test has a process of its own, and what it runs is most of its memory.
function(compile_small target)
    if(NOT WIN32)
        target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-Os>)
    endif()
endfunction()

# The folder that holds a platform's own sources, such as zel/linux.
if(WIN32)
    set(PLATFORM_DIR windows)
else()
    set(PLATFORM_DIR linux)
endif()

# show_contracts_only(TARGET): the library shows what DRIVETEST_API marks and keeps the rest inside.
function(show_contracts_only target)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_compile_definitions(${target} PRIVATE DRIVETEST_EXPORTS)
endfunction()

# project_sources(TARGET): the .cpp files of the current folder and of the named sub-folders.
function(project_sources target)
    set(patterns *.cpp)
    foreach(folder IN LISTS ARGN)
        list(APPEND patterns ${folder}/*.cpp)
    endforeach()
    file(GLOB sources CONFIGURE_DEPENDS ${patterns})
    target_sources(${target} PRIVATE ${sources})
    target_link_libraries(${target} PRIVATE project_options)
endfunction()

# precompile_for(OWNER TARGET...): compiles headers of the standard library that many sources include, once for
# all these targets. The owner defines nothing that the others do not.
function(precompile_for owner)
    target_precompile_headers(${owner} PRIVATE
        <algorithm> <array> <atomic> <bit> <chrono> <cstdint> <cstring> <filesystem> <functional> <limits> <map>
        <memory> <mutex> <optional> <set> <span> <string> <string_view> <utility> <vector>)
    set_target_properties(${owner} PROPERTIES DEFINE_SYMBOL "")
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM ${owner})
    endforeach()
    target_compile_options(project_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>) # for ccache
endfunction()
