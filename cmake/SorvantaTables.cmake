# Tables that are generated at build time from the data of Debian packages (see tools/install-deps):
# the Unicode character database, the transliterations of the Unicode locale data, and code pages.
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
find_path(SORVANTA_UNICODE_DATA UnicodeData.txt PATHS /usr/share/unicode /usr/share/unicode/ucd
  NO_DEFAULT_PATH REQUIRED DOC "Folder of the Unicode character database (package unicode-data)")
find_path(SORVANTA_CLDR_TRANSFORMS Greek-Latin.xml PATHS /usr/share/unicode/cldr/common/transforms
  NO_DEFAULT_PATH REQUIRED DOC "Folder of transliteration rules (package unicode-cldr-core)")
find_path(SORVANTA_CLDR_COLLATION allkeys_CLDR.txt PATHS /usr/share/unicode/cldr/common/uca
  NO_DEFAULT_PATH REQUIRED DOC "Folder of collation keys and their tests (package unicode-cldr-core)")
find_path(SORVANTA_CLDR_MAIN de.xml PATHS /usr/share/unicode/cldr/common/main
  NO_DEFAULT_PATH REQUIRED DOC "Folder of the names that languages have (package unicode-cldr-core)")
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

# Adds ${name}.txt, a table of collation weights, to the folder of tables in the build tree, and installs it.
set(SORVANTA_COLLATIONS ${PROJECT_BINARY_DIR}/collations)
function(sorvanta_collation name key_file)
  set(generators ${PROJECT_SOURCE_DIR}/tools/generate)
  set(table ${SORVANTA_COLLATIONS}/${name}.txt)
  file(MAKE_DIRECTORY ${SORVANTA_COLLATIONS})
  add_custom_command(OUTPUT ${table}
    COMMAND Python3::Interpreter -B ${generators}/collation_table.py ${SORVANTA_UNICODE_DATA} ${key_file} ${table}
    DEPENDS ${generators}/collation_table.py ${generators}/unicode_data.py ${key_file}
    COMMENT "Generating collation ${name}"
    VERBATIM)
  add_custom_target(collation_${name} ALL DEPENDS ${table})
  set_property(GLOBAL APPEND PROPERTY SORVANTA_INSTALLED collation_${name})
  install(FILES ${table} DESTINATION ${CMAKE_INSTALL_DATADIR}/sorvanta/collations)
endfunction()
