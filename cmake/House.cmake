# What every target of the house shares.
add_library(house INTERFACE)
target_include_directories(house INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(house INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                         $<$<BOOL:${PROJECT_IS_TOP_LEVEL}>:-Werror>)
target_compile_options(house INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
# Loops over text of any length are made wide, too.
target_compile_options(house INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fvect-cost-model=dynamic>)
target_compile_definitions(house INTERFACE HALVANE_VERSION="${PROJECT_VERSION}")
target_link_libraries(house INTERFACE Threads::Threads)

if(HALVANE_SANITIZE)
  target_compile_options(house INTERFACE -fsanitize=${HALVANE_SANITIZE} -fno-omit-frame-pointer
                                         -fno-sanitize-recover=all)
  target_link_options(house INTERFACE -fsanitize=${HALVANE_SANITIZE})
endif()

if(HALVANE_FUZZ)
  target_compile_options(house INTERFACE
                         -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/tests/fuzz/ignored.txt)
endif()

if(HALVANE_COVERAGE)
  # The counts lie in mapped files, which all processes of a program share: killed ones have counted, too.
  target_compile_options(house INTERFACE
                         -fprofile-instr-generate=${PROJECT_BINARY_DIR}/counts/%m%c.profraw -fcoverage-mapping
                         -fprofile-update=atomic "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(house INTERFACE -fprofile-instr-generate)
endif()

# Code for one system lives in files of its own: Name-win32.cpp beside Name-posix.cpp.
if(WIN32)
  set(HOUSE_SYSTEM win32)
  target_compile_definitions(house INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
                                             _WIN32_WINNT=0x0A00)
else()
  set(HOUSE_SYSTEM posix)
endif()

# house_library(name SOURCES ... [SPLIT names of files that exist once per system] [LINK ...])
function(house_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;SPLIT;LINK" ${ARGN})
  list(TRANSFORM ARG_SPLIT APPEND -${HOUSE_SYSTEM}.cpp)
  add_library(${name} STATIC ${ARG_SOURCES} ${ARG_SPLIT})
  target_link_libraries(${name} PUBLIC house ${ARG_LINK})
endfunction()
