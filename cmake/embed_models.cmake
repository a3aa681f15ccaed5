# Turns a model file into a piece of C++ that a source file includes.
#
#   cmake -D KIND=NUMBERS|TEXT -D SOURCE=<model file> -D OUTPUT=<file to write> -P embed_models.cmake
#
# NUMBERS: white-space separated numbers become the initialisers of an array, line by line.
# TEXT:    the file becomes one raw string literal.

file(READ ${SOURCE} content)
if(KIND STREQUAL "NUMBERS")
  string(STRIP "${content}" content)
  if(content MATCHES "[^-+.0-9eE \t\r\n]")
    message(FATAL_ERROR "${SOURCE} holds more than numbers and white space.")
  endif()
  string(REGEX REPLACE "[ \t\r\n]+" ",\n" content "${content}")
elseif(KIND STREQUAL "TEXT")
  string(FIND "${content}" ")ozna\"" delimiter_position)
  if(NOT delimiter_position EQUAL -1)
    message(FATAL_ERROR "${SOURCE} holds the delimiter of the string literal.")
  endif()
  string(PREPEND content "R\"ozna(")
  string(APPEND content ")ozna\"")
else()
  message(FATAL_ERROR "KIND is NUMBERS or TEXT, not \"${KIND}\".")
endif()
file(WRITE ${OUTPUT} "${content}\n")
