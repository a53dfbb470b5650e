# Embeds files into a program as the resources that its code finds by number (win32/embedded.h):
#   embed_resources(target groupIcon 101 icon-16.png icon-32.png ...)
#   embed_resources(target rawData 102 logo.png)
function(embed_resources target kind number)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/embedded_${target}_${kind}_${number}.cpp)
  set(text "#include \"win32/embedded.h\"\n")
  set(index 0)
  foreach(file ${ARGN})
    get_filename_component(path ${file} ABSOLUTE)
    set(name embedded_${kind}_${number}_${index})
    string(APPEND text "
__asm__(\".pushsection .rodata\\n${name}_begin:\\n.incbin \\\"${path}\\\"\\n${name}_end:\\n.popsection\\n\");
extern \"C\" const unsigned char ${name}_begin[], ${name}_end[];
static const win32::EmbeddedResource ${name}(win32::ResourceKind::${kind}, ${number}, ${name}_begin, ${name}_end);
")
    math(EXPR index "${index} + 1")
  endforeach()
  file(CONFIGURE OUTPUT ${source} CONTENT "${text}" @ONLY)
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS "${ARGN}")
  target_sources(${target} PRIVATE ${source})
endfunction()
