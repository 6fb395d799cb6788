# cmake -DOUT=FILE.cpp -DFOLDER=FOLDER -DNAMES=a,b -P embed.cmake: the files of a page as C++ texts.
string(REPLACE "," ";" names "${NAMES}")
set(type.html "text/html; charset=utf-8")
set(type.css "text/css; charset=utf-8")
set(type.js "text/javascript; charset=utf-8")
set(rows "")
foreach(name IN LISTS names)
  file(READ ${FOLDER}/${name} content)
  cmake_path(GET name EXTENSION LAST_ONLY extension)
  string(APPEND rows "    {\"${name}\", \"${type${extension}}\", R\"~page~(${content})~page~\"},\n")
endforeach()
file(WRITE ${OUT} "#include \"vboard/panel/server.h\"

namespace vboard::panel {
namespace {

constexpr Asset kFiles[] = {
${rows}};

}  // namespace

constinit const std::span<const Asset> kAssets = kFiles;

}  // namespace vboard::panel
")
