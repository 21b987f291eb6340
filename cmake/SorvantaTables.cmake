# Tables that are generated at build time from the data of Debian packages (see tools/install-deps):
# the Unicode character database, the transliterations of the Unicode locale data, and code pages.
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
find_path(SORVANTA_UNICODE_DATA UnicodeData.txt PATHS /usr/share/unicode /usr/share/unicode/ucd
  NO_DEFAULT_PATH REQUIRED DOC "Folder of the Unicode character database (package unicode-data)")
find_path(SORVANTA_CLDR_TRANSFORMS Greek-Latin.xml PATHS /usr/share/unicode/cldr/common/transforms
  NO_DEFAULT_PATH REQUIRED DOC "Folder of transliteration rules (package unicode-cldr-core)")
find_path(SORVANTA_ENCODINGS cp1252.enc PATHS /usr/share/tcltk/tcl8.6/encoding /usr/lib/tcl8.6/encoding
  NO_DEFAULT_PATH REQUIRED DOC "Folder of encoding files (package libtcl8.6)")

# Adds ${output} to the library: what tools/generate/${script} writes from the given folders.
function(sorvanta_table output script)
  set(generators ${PROJECT_SOURCE_DIR}/tools/generate)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${output})
  add_custom_command(OUTPUT ${source}
    COMMAND Python3::Interpreter -B ${generators}/${script} ${ARGN} ${source}
    DEPENDS ${generators}/${script} ${generators}/unicode_data.py ${generators}/transliteration.py
            ${SORVANTA_UNICODE_DATA}/UnicodeData.txt
    COMMENT "Generating ${output}"
    VERBATIM)
  # The library belongs to another folder, which does not see this command: a target takes it there.
  add_custom_target(${script}_output DEPENDS ${source})
  add_dependencies(sorvanta ${script}_output)
  target_sources(sorvanta PRIVATE ${source})
endfunction()
