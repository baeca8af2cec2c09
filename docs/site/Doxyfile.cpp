# The C++ layer and the bridges; members that speak for themselves have no comment.
@INCLUDE               = docs/site/Doxyfile
INPUT                  = include/tavix/frame.hpp include/tavix/interop
FILE_PATTERNS          = *.h *.hpp
XML_OUTPUT             = cpp
OPTIMIZE_OUTPUT_FOR_C  = NO
WARN_IF_UNDOCUMENTED   = NO
EXCLUDE_SYMBOLS       += tavix::detail
