# The agent against the real Windows headers: compiled, not linked. The third-party headers are the host's own; only
# theirs are made visible, since the host's system headers would hide those of Windows.
set(host_headers ${CMAKE_BINARY_DIR}/host_headers)
file(MAKE_DIRECTORY ${host_headers})
foreach(header boost jansson.h xercesc)
  file(CREATE_LINK /usr/include/${header} ${host_headers}/${header} SYMBOLIC)
endforeach()
# What some distributions keep in the directory of the host's architecture: OpenSSL's headers lie in both.
foreach(header jansson_config.h curl openssl/opensslconf.h openssl/configuration.h)
  file(GLOB found /usr/include/*-linux-gnu/${header} /usr/include/${header})
  list(GET found 0 found)
  get_filename_component(directory ${host_headers}/${header} DIRECTORY)
  file(MAKE_DIRECTORY ${directory})
  file(CREATE_LINK ${found} ${host_headers}/${header} SYMBOLIC)
endforeach()
file(GLOB openssl_headers /usr/include/openssl/*.h)
foreach(header ${openssl_headers})
  get_filename_component(name ${header} NAME)
  file(CREATE_LINK ${header} ${host_headers}/openssl/${name} SYMBOLIC)
endforeach()

file(GLOB suite_sources CONFIGURE_DEPENDS suite/*.cpp)
add_library(agent_core OBJECT ${agent_sources} src/main.cpp ${suite_sources})
target_include_directories(agent_core PRIVATE src win32/include)
target_include_directories(agent_core SYSTEM PRIVATE ${host_headers})
target_compile_definitions(agent_core PRIVATE UNICODE _UNICODE _WIN32_WINNT=0x0A00 WINVER=0x0A00 STRICT)
# The SDK's own macros are C casts, and its COM interfaces have no virtual destructor.
target_compile_options(agent_core PRIVATE -Wno-old-style-cast -Wno-cast-function-type -Wno-non-virtual-dtor)

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
target_compile_definitions(layer_headers PRIVATE UNICODE _UNICODE _WIN32_WINNT=0x0A00 WINVER=0x0A00 STRICT)
target_compile_options(layer_headers PRIVATE -Wno-old-style-cast -Wno-non-virtual-dtor)

# The icon, the logo and the manifest.
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
enable_language(RC)
add_library(agent_resources OBJECT packaging/windows/agent.rc)
set_source_files_properties(packaging/windows/agent.rc PROPERTIES OBJECT_DEPENDS
  "${CMAKE_SOURCE_DIR}/packaging/windows/agent.manifest;${CMAKE_SOURCE_DIR}/packaging/art/zelmo.ico;${CMAKE_SOURCE_DIR}/packaging/art/logo.png")

# The layer's promises, as a program that tests the real operations.
set(googletest /usr/src/googletest)
file(GLOB layer_tests CONFIGURE_DEPENDS tests/layer/*.cpp)
add_executable(layer_tests ${layer_tests} src/base/text.cpp src/base/utf8.cpp
  ${googletest}/googletest/src/gtest-all.cc ${googletest}/googlemock/src/gmock-all.cc)
target_include_directories(layer_tests PRIVATE src tests win32/include)
target_include_directories(layer_tests SYSTEM PRIVATE
  ${googletest}/googletest ${googletest}/googletest/include ${googletest}/googlemock ${googletest}/googlemock/include)
target_compile_definitions(layer_tests PRIVATE UNICODE _UNICODE _WIN32_WINNT=0x0A00 WINVER=0x0A00 STRICT)
target_compile_options(layer_tests PRIVATE -Wno-old-style-cast -Wno-cast-function-type -Wno-non-virtual-dtor)
target_link_libraries(layer_tests PRIVATE -static cfgmgr32 crypt32 gdiplus msimg32 ole32 rpcrt4 setupapi uuid)
