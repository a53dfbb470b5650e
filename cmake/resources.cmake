# Embeds the icon and the logo into a program, as win32/embedded.h tells; packaging/windows/agent.rc is the same for
# Windows.
function(embed_agent_resources target)
  set(art ${CMAKE_SOURCE_DIR}/packaging/art)
  set(code "#include \"win32/embedded.h\"\n")
  macro(embed kind number name)
    string(MAKE_C_IDENTIFIER ${name} symbol)
    string(APPEND code
      "asm(\".pushsection .rodata\\n${symbol}_begin: .incbin \\\"${art}/${name}\\\"\\n${symbol}_end: .popsection\\n\");\n"
      "extern const unsigned char ${symbol}_begin[];\nextern const unsigned char ${symbol}_end[];\n"
      "static const win32::EmbeddedResource ${symbol}(win32::ResourceKind::${kind}, ${number}, ${symbol}_begin, "
      "${symbol}_end);\n")
    list(APPEND pictures ${art}/${name})
  endmacro()
  foreach(size 16 20 24 32 40 48 64 256)
    embed(groupIcon 101 icon-${size}.png)
  endforeach()
  embed(rawData 102 logo.png)
  set(source ${CMAKE_BINARY_DIR}/agent_resources.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "${code}" @ONLY)
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS "${pictures}")
  target_sources(${target} PRIVATE ${source})
endfunction()
