# Compiles the catalogues of po/ and writes a source that holds them:
# cmake -DMSGFMT=... -DPO_FOLDER=... -DOUT=... -P embed_translations.cmake
file(GLOB catalogues ${PO_FOLDER}/*.po)
set(arrays "")
set(choices "")
foreach(catalogue IN LISTS catalogues)
  get_filename_component(code ${catalogue} NAME_WE)
  execute_process(COMMAND ${MSGFMT} --output-file=${OUT}.mo ${catalogue}
                  COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${OUT}.mo bytes HEX)
  file(REMOVE ${OUT}.mo)
  # Lines that a compiler takes; literals beside each other are one.
  string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\\\x\\1" bytes "${bytes}")
  string(REGEX REPLACE "([^\n]+)\n?" "\"\\1\"\n" bytes "${bytes}")
  string(APPEND arrays "constexpr char k_${code}[] =\n${bytes};\n")
  string(APPEND choices "  if (code == \"${code}\") return {k_${code}, sizeof k_${code} - 1};\n")
endforeach()
file(WRITE ${OUT} "#include \"base/embedded_translations.h\"

namespace kavrel {
namespace {
${arrays}}  // namespace

std::string_view EmbeddedTranslation(std::string_view code) {
${choices}  return {};
}
}  // namespace kavrel
")
