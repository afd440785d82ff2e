# Writes out the family of classes of every table in the catalogue.
#
# A pattern file is ordinary C++ in which `Xxx` stands for a table's name and `xxx` for the same with
# a lower-case first letter. For each table it becomes a file of the build tree, headed by a
# do-not-edit line and a #line directive, so that messages, stepping and coverage land in the pattern.

set(LOAM_CATALOGUE_FILE ${PROJECT_SOURCE_DIR}/catalogue/SystemPolicyTables.def
    CACHE FILEPATH "The list of tables")
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${LOAM_CATALOGUE_FILE})

# C++ reads the same list: what <catalogue/SystemPolicyTables.def> means is found there first.
cmake_path(GET LOAM_CATALOGUE_FILE PARENT_PATH catalogueFolder)
cmake_path(GET catalogueFolder PARENT_PATH catalogueRoot)
if(NOT catalogueRoot STREQUAL PROJECT_SOURCE_DIR)
    include_directories(BEFORE ${catalogueRoot})
endif()

set(LOAM_ONLY_TABLES "" CACHE STRING "While developing: build only these tables; empty for all")

file(STRINGS ${LOAM_CATALOGUE_FILE} catalogueRows REGEX "^LOAM_TABLE\\(")
set(LOAM_TABLES "")
foreach(row IN LISTS catalogueRows)
    string(REGEX REPLACE "^LOAM_TABLE\\(([A-Za-z0-9_]+),.*" "\\1" name "${row}")
    if(NOT LOAM_ONLY_TABLES OR name IN_LIST LOAM_ONLY_TABLES)
        list(APPEND LOAM_TABLES ${name})
    endif()
endforeach()
if(NOT LOAM_TABLES)
    message(FATAL_ERROR "${LOAM_CATALOGUE_FILE} has no LOAM_TABLE rows: nothing to build")
endif()

# Sets <out> to the pattern's text with the table's name in it.
function(loam_name_table out text table)
    string(SUBSTRING ${table} 0 1 first)
    string(SUBSTRING ${table} 1 -1 rest)
    string(TOLOWER ${first} first)
    string(REPLACE "Xxx" "${table}" text "${text}")
    string(REPLACE "xxx" "${first}${rest}" text "${text}")
    set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Writes a file of the build tree only if it changes, so that nothing is compiled again for nothing.
function(loam_write_changed file text)
    set(present "")
    if(EXISTS ${file})
        file(READ ${file} present)
    endif()
    if(NOT present STREQUAL text)
        file(WRITE ${file} "${text}")
    endif()
endfunction()

# loam_generate_family(<out> FOLDER <folder below the generated root> PATTERNS <files>)
# Sets <out> to the generated sources (.cpp files alone); headers are found through
# ${PROJECT_BINARY_DIR}/generated.
function(loam_generate_family out)
    cmake_parse_arguments(ARG "" "FOLDER" "PATTERNS" ${ARGN})
    set(sources "")
    foreach(pattern IN LISTS ARG_PATTERNS)
        set(patternFile ${CMAKE_CURRENT_SOURCE_DIR}/${pattern})
        set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${patternFile})
        file(READ ${patternFile} text)
        get_filename_component(patternName ${pattern} NAME)
        file(RELATIVE_PATH patternShown ${PROJECT_SOURCE_DIR} ${patternFile})
        foreach(table IN LISTS LOAM_TABLES)
            loam_name_table(tableText "${text}" ${table})
            string(REPLACE "Xxx" "${table}" fileName "${patternName}")
            set(generated ${PROJECT_BINARY_DIR}/generated/${ARG_FOLDER}/${fileName})
            string(CONCAT tableText
                "// Written by cmake/LoamCatalogue.cmake from ${patternShown}. Do not edit.\n"
                "#line 1 \"${patternFile}\"\n" "${tableText}")
            loam_write_changed(${generated} "${tableText}")
            if(fileName MATCHES "\\.cpp$")
                list(APPEND sources ${generated})
            endif()
        endforeach()
    endforeach()
    set(${out} ${sources} PARENT_SCOPE)
endfunction()

# loam_generate_list(FOLDER <folder below the generated root> PATTERNS <files>)
# A pattern of which one file is made for all tables together: a line that has an `Xxx` or `xxx` in it
# is written once for each table, every other line once.
function(loam_generate_list)
    cmake_parse_arguments(ARG "" "FOLDER" "PATTERNS" ${ARGN})
    foreach(pattern IN LISTS ARG_PATTERNS)
        set(patternFile ${CMAKE_CURRENT_SOURCE_DIR}/${pattern})
        set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${patternFile})
        file(READ ${patternFile} rest)
        get_filename_component(patternName ${pattern} NAME)
        file(RELATIVE_PATH patternShown ${PROJECT_SOURCE_DIR} ${patternFile})
        set(text "// Written by cmake/LoamCatalogue.cmake from ${patternShown}. Do not edit.\n")
        while(NOT rest STREQUAL "")
            string(FIND "${rest}" "\n" end)
            math(EXPR end "${end} + 1")
            if(end EQUAL 0)
                string(LENGTH "${rest}" end)
            endif()
            string(SUBSTRING "${rest}" 0 ${end} line)
            string(SUBSTRING "${rest}" ${end} -1 rest)
            if(line MATCHES "[Xx]xx")
                foreach(table IN LISTS LOAM_TABLES)
                    loam_name_table(tableLine "${line}" ${table})
                    string(APPEND text "${tableLine}")
                endforeach()
            else()
                string(APPEND text "${line}")
            endif()
        endwhile()
        loam_write_changed(${PROJECT_BINARY_DIR}/generated/${ARG_FOLDER}/${patternName} "${text}")
    endforeach()
endfunction()
