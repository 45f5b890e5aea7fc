# How every target of this tree is made: one language level, one set of warnings, and a library
# that exports its own folder and nothing else, so that a room one may not enter is not found.

add_library(dm_options INTERFACE)
target_compile_features(dm_options INTERFACE cxx_std_17)
target_compile_definitions(dm_options INTERFACE QT_NO_CAST_FROM_ASCII QT_NO_FOREACH)
target_compile_options(dm_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(DM_WARNINGS_AS_ERRORS)
    target_compile_options(dm_options INTERFACE -Werror)
endif()
if(DM_SANITIZE)
    target_compile_options(dm_options INTERFACE -fsanitize=${DM_SANITIZE} -fno-omit-frame-pointer
                                                -fno-sanitize-recover=all)
    target_link_options(dm_options INTERFACE -fsanitize=${DM_SANITIZE})
endif()
if(DM_COVERAGE)
    target_compile_options(dm_options INTERFACE --coverage)
    target_link_options(dm_options INTERFACE --coverage)
endif()

# dm_library(NAME SOURCES a.cpp ... LINK Qt5::Core ...)
# LINK is what the room may use; it is public, because its types stand in the room's headers.
function(dm_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK;PRIVATE_LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON AUTOUIC ON)
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
    target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE ${ARG_PRIVATE_LINK} dm_options)
endfunction()

# dm_program(NAME SOURCES main.cpp ... LINK dm_ui ...)
function(dm_program name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON AUTOUIC ON)
    target_link_libraries(${name} PRIVATE ${ARG_LINK} dm_options)
endfunction()
