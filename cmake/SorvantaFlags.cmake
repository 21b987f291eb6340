# Flags that every target of this tree compiles with. They stay private: a host that links the library
# chooses its own.
add_library(sorvanta_flags INTERFACE)

target_compile_options(sorvanta_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Wcast-align
  -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wformat=2 -Wno-format-y2k -Wundef -Wvla
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op -Wsuggest-override>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # g++ 12 sees overlaps in std::string that are not there
  $<$<BOOL:${SORVANTA_WERROR}>:-Werror>
  -fno-semantic-interposition -ftls-model=initial-exec
  -fno-delete-null-pointer-checks)  # a null AceReporter may be called and says nothing

# What ships is held to more than tests, which cut random numbers to size all the time.
add_library(sorvanta_kernel_flags INTERFACE)
target_compile_options(sorvanta_kernel_flags INTERFACE -Wconversion -Wno-sign-conversion)
target_link_libraries(sorvanta_kernel_flags INTERFACE sorvanta_flags)

if(SORVANTA_SANITIZE)
  add_compile_options(-fsanitize=${SORVANTA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${SORVANTA_SANITIZE})
  if(SORVANTA_SANITIZE MATCHES undefined)
    add_compile_options(-fno-sanitize=null,vptr)  # a null AceReporter may be called
  endif()
endif()
if(SORVANTA_FUZZ AND SORVANTA_FUZZ_GUIDED)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
