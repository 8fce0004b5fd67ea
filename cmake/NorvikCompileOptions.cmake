# Options shared by every target of our own: strict warnings, and the sanitizer build.
add_library(norvik_compile_options INTERFACE)
target_compile_options(norvik_compile_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wnon-virtual-dtor -Woverloaded-virtual -Wshadow=local)
# Some Qt APIs we rely on (binary JSON, the SAX XML reader) are marked deprecated in 5.15.
target_compile_definitions(norvik_compile_options INTERFACE
    QT_NO_DEPRECATED_WARNINGS QT_NO_CAST_FROM_BYTEARRAY QT_USE_QSTRINGBUILDER)

if(NORVIK_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
endif()

# Marks a target as ours: warnings as errors and the common definitions.
function(norvik_strict target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:norvik_compile_options>)
endfunction()
