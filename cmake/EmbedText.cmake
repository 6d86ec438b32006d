# cmake -DINPUT=FILE -DOUTPUT=FILE -P EmbedText.cmake: a source that defines pageText() with the
# bytes of INPUT.
file(READ ${INPUT} bytes HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${bytes}")
string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..)" "\\1\n" bytes
                     "${bytes}")
file(WRITE ${OUTPUT} "#include \"server/page.h\"

namespace vexahost {
namespace {

constexpr unsigned char kBytes[] = {
${bytes}
};

}  // namespace

std::string_view pageText() { return {reinterpret_cast<const char*>(kBytes), sizeof(kBytes)}; }

}  // namespace vexahost
")
