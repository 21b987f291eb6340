# Databases that tests, benchmarks and examples read through ODBC, where they are installed.
find_file(SQLITE_ODBC_DRIVER libsqlite3odbc.so PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} PATH_SUFFIXES odbc)
find_file(POSTGRES_ODBC_DRIVER psqlodbcw.so PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} PATH_SUFFIXES odbc)
find_program(SQLITE_SHELL sqlite3)
file(GLOB postgres_folders /usr/lib/postgresql/*/bin)
find_path(POSTGRES_BIN pg_ctl PATHS ${postgres_folders} NO_DEFAULT_PATH)  # and not a script that chooses one

# For users of tests/support/odbc_databases.h.
add_library(odbc_databases INTERFACE)
target_include_directories(odbc_databases INTERFACE ${PROJECT_SOURCE_DIR}/tests)
target_compile_definitions(odbc_databases INTERFACE
  TEST_SQLITE_DRIVER="${SQLITE_ODBC_DRIVER}" TEST_SQLITE_SHELL="${SQLITE_SHELL}"
  TEST_POSTGRES_DRIVER="${POSTGRES_ODBC_DRIVER}" TEST_POSTGRES_BIN="${POSTGRES_BIN}")
