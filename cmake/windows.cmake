# The agent, the suite's other programs and the tests against the real Windows headers.
set(WINDOWS_LIBRARIES "" CACHE PATH "What tools/windows_libraries.sh has printed: include/ and lib/ are there")
if(NOT EXISTS ${WINDOWS_LIBRARIES}/lib)
  message(FATAL_ERROR "WINDOWS_LIBRARIES has to name what tools/windows_libraries.sh prints; ./dev windows does it")
endif()

# What Windows doesn't keep in memory for every process is loaded at its first use, from the system's directory.
foreach(name bcrypt cfgmgr32 comdlg32 crypt32 gdiplus iphlpapi msimg32 ole32 rpcrt4 setupapi winhttp wininet)
  set(late_library ${CMAKE_BINARY_DIR}/late/lib${name}.a)
  if(NOT EXISTS ${late_library})
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/late)
    execute_process(COMMAND ${CMAKE_SOURCE_DIR}/tools/windows_late_imports.sh ${name} ${late_library}
      COMMAND_ERROR_IS_FATAL ANY)
  endif()
  list(APPEND system_libraries ${late_library})
endforeach()
list(APPEND system_libraries uuid ws2_32)
add_compile_definitions(UNICODE _UNICODE _WIN32_WINNT=0x0A00 WINVER=0x0A00 STRICT)
add_compile_options(-g1)  # for the symbol files
# The SDK's own macros are C casts, and its COM interfaces have no virtual destructor.
add_compile_options(-Wno-old-style-cast -Wno-cast-function-type -Wno-non-virtual-dtor)

# No path of the machine that builds gets into the programs.
add_compile_options(-ffile-prefix-map=${WINDOWS_LIBRARIES}=. -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)

foreach(name curl nghttp2 ssl crypto xerces-c jansson boost_filesystem)
  list(APPEND third_party_libraries ${WINDOWS_LIBRARIES}/lib/lib${name}.a)
endforeach()
add_compile_definitions(CURL_STATICLIB BOOST_ALL_NO_LIB)

add_library(agent_core STATIC ${agent_sources})
target_include_directories(agent_core PUBLIC src win32/include)
target_include_directories(agent_core SYSTEM PUBLIC ${WINDOWS_LIBRARIES}/include)
add_library(windows_program OBJECT win32/windows/environment.cpp win32/windows/system_libraries.cpp)

# The icon, the logo, the manifest and the version, which stands in the code alone.
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
enable_language(RC)
set(version_header src/update/update_handler.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${version_header})
file(STRINGS ${version_header} version REGEX "suiteVersion = ")
string(REGEX REPLACE ".*\"(.*)\".*" "\\1" version "${version}")
string(REPLACE "." "," version_numbers ${version})
set_source_files_properties(packaging/windows/agent.rc PROPERTIES
  OBJECT_DEPENDS "${CMAKE_SOURCE_DIR}/packaging/art/zelmo.ico;${CMAKE_SOURCE_DIR}/packaging/art/logo.png")

foreach(program
    "ZelmoDocksetAgent=Zelmo Dockset Agent=src/main.cpp=packaging/windows/agent.rc"
    "ZelmoDockset=Zelmo Dockset=suite/main_application.cpp"
    "zdmanifest=Zelmo Dockset manifest tool=suite/zdmanifest.cpp"
    "zdpost=Zelmo Dockset message tool=suite/post_message.cpp"
    "zdplatform=Zelmo Dockset platform tool=suite/platform_front_end.cpp"
    "zdservice=Zelmo Dockset Service=suite/background_service.cpp"
    "zdengine=Zelmo Dockset Update Engine=suite/update_engine.cpp")
  string(REPLACE "=" ";" sources ${program})
  list(POP_FRONT sources name description)
  set(resources ${CMAKE_BINARY_DIR}/resources/${name}.rc)
  configure_file(packaging/windows/program.rc.in ${resources} @ONLY)
  set_source_files_properties(${resources} PROPERTIES
    OBJECT_DEPENDS ${CMAKE_SOURCE_DIR}/packaging/windows/program.manifest)
  add_executable(${name} ${sources} ${resources})
  target_link_libraries(${name} PRIVATE windows_program agent_core -static ${third_party_libraries} ${system_libraries})
endforeach()
set_target_properties(ZelmoDocksetAgent ZelmoDockset PROPERTIES WIN32_EXECUTABLE ON)

# Each header of the layer compiles on its own.
file(GLOB layer_headers CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/win32/include/win32/*.h)
set(header_sources)
foreach(header ${layer_headers})
  get_filename_component(name ${header} NAME_WE)
  set(source ${CMAKE_BINARY_DIR}/headers/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "#include \"win32/${name}.h\"\n")
  list(APPEND header_sources ${source})
endforeach()
add_library(layer_headers OBJECT ${header_sources})
target_include_directories(layer_headers PRIVATE win32/include)

# The tests: of the layer's promises, which here are the system's, and of the agent's code, but for those that need a
# server of the host's.
set(googletest /usr/src/googletest)
add_library(googletest STATIC
  ${googletest}/googletest/src/gtest-all.cc ${googletest}/googlemock/src/gmock-all.cc)
target_include_directories(googletest SYSTEM PUBLIC
  ${googletest}/googletest ${googletest}/googletest/include ${googletest}/googlemock ${googletest}/googlemock/include)
file(GLOB layer_sources CONFIGURE_DEPENDS tests/layer/*.cpp)
file(GLOB unit_sources CONFIGURE_DEPENDS tests/unit/*.cpp)
list(FILTER unit_sources EXCLUDE REGEX "http_(transport|downloader)_test")
list(APPEND layer_sources packaging/windows/agent.rc)
list(APPEND unit_sources tests/test_run.cpp tests/not_scripted.cpp ${googletest}/googlemock/src/gmock_main.cc)
foreach(kind layer unit)
  add_executable(${kind}_tests ${${kind}_sources})
  target_include_directories(${kind}_tests PRIVATE tests)
  target_compile_definitions(${kind}_tests PRIVATE LOCALES_DIRECTORY="resources/locales")
  target_link_libraries(${kind}_tests PRIVATE
    windows_program agent_core googletest -static ${third_party_libraries} ${system_libraries})
endforeach()

# A library that poses as one of the system's, and a program that takes it.
add_library(planted_library SHARED tests/witness/planted_library.cpp)
set_target_properties(planted_library PROPERTIES PREFIX "")
add_executable(early_import tests/witness/early_import.cpp)
target_link_libraries(early_import PRIVATE -static crypt32)
target_link_options(planted_library PRIVATE -static)
