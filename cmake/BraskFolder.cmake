# Each source folder is one object library; all of them are gathered into the shared library `brask`, which
# the program and every test link. The order is bottom to top: a folder includes only folders before it.
set(BRASK_FOLDERS base command settings elf datafile icache device script project framework views app)

# brask_folder(name): the object library of all sources below the folder, with the shared precompiled header. A source
# is added by being there.
function(brask_folder Name)
    file(GLOB_RECURSE Sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    list(FILTER Sources EXCLUDE REGEX "/app/main/")
    add_library(${Name} OBJECT ${Sources})
    target_include_directories(${Name} PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(${Name} PUBLIC Qt6::Core Qt6::Gui Qt6::Widgets Qt6::DBus Qt6::Svg Threads::Threads ZLIB::ZLIB ${CMAKE_DL_LIBS})
    if(Name STREQUAL "base")
        target_precompile_headers(${Name} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/Precompiled.h)
    else()
        target_precompile_headers(${Name} REUSE_FROM base)
    endif()
    set_property(GLOBAL APPEND PROPERTY BRASK_OBJECTS ${Name})
endfunction()

function(brask_link_folders)
    get_property(Names GLOBAL PROPERTY BRASK_OBJECTS)
    set(Objects "")
    foreach(Name IN LISTS Names)
        list(APPEND Objects $<TARGET_OBJECTS:${Name}>)
    endforeach()
    add_library(brask SHARED ${Objects})
    set_target_properties(brask PROPERTIES AUTOMOC OFF LINKER_LANGUAGE CXX)
    target_include_directories(brask PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(brask PUBLIC Qt6::Core Qt6::Gui Qt6::Widgets Qt6::DBus Qt6::Svg Threads::Threads ZLIB::ZLIB ${CMAKE_DL_LIBS})
    add_dependencies(brask novik)
endfunction()
