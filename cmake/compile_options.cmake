# One target carries the options that every part of the project is compiled with.
add_library(ovicam_options INTERFACE)
target_include_directories(ovicam_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(
  ovicam_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Werror
            # A fused multiply-add would change the last bit of a ray from machine to machine.
            -ffp-contract=off
            # Pairing scalars into vectors costs these mappings more than it gains: what was stored by halves is loaded whole,
            # and waits. GCC 12 also drops roundings to single precision where it pairs them.
            -fno-tree-slp-vectorize
            # Square roots become one instruction; nothing here reads errno after mathematics.
            -fno-math-errno
            # The same commit gives the same bytes, whatever folder it is built in.
            -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
if(WIN32)
  # The C++ runtime goes into the binary: nothing but Windows' own libraries is needed beside it.
  target_link_options(ovicam_options INTERFACE -static -Wl,--no-insert-timestamp)
  target_compile_definitions(ovicam_options INTERFACE _WIN32_WINNT=0x0601)
endif()

set(OVICAM_SANITIZE "" CACHE STRING "Sanitizers of the native build, for example address,undefined or thread")

# What runs on users' machines, against what a hostile file may try: overwritten stacks and buffers are noticed, and the table
# of imported functions cannot be overwritten. Tests are compiled without optimisation, which the checks of buffers need.
add_library(ovicam_protection INTERFACE)
if(NOT WIN32)
  target_link_options(ovicam_protection INTERFACE -Wl,-z,relro,-z,now)
  if(NOT OVICAM_SANITIZE)
    target_compile_options(ovicam_protection INTERFACE -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
endif()

if(OVICAM_SANITIZE)
  target_compile_options(ovicam_options INTERFACE -fsanitize=${OVICAM_SANITIZE} -fno-omit-frame-pointer
                                                  -fno-sanitize-recover=all
                         # A compiler cache may bring precompiled headers back older than the same headers are now.
                         "SHELL:-Xclang -fno-pch-timestamp")
  target_link_options(ovicam_options INTERFACE -fsanitize=${OVICAM_SANITIZE})
endif()

# What is not shipped compiles several files as one: most of the time goes into reading the same headers.
option(OVICAM_UNITY "Compile the stand-in host, the tool and the tests several files at a time" ON)
