#include "files/content_kind.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include "base/text.h"

namespace kavrel {

namespace {

using namespace std::string_view_literals;

struct Beginning {
  std::string_view Bytes;
  std::size_t At = 0;
};

constexpr Beginning kJpeg[] = {{"\xFF\xD8\xFF"sv}};
constexpr Beginning kPng[] = {{"\x89PNG\r\n\x1A\n"sv}};
constexpr Beginning kGif[] = {{"GIF8"sv}};
constexpr Beginning kBmp[] = {{"BM"sv}};
constexpr Beginning kTiff[] = {{"II*\0"sv}, {"MM\0*"sv}, {"II+\0"sv}, {"MM\0+"sv}};
constexpr Beginning kRiff[] = {{"RIFF"sv}};
constexpr Beginning kIso[] = {{"ftyp"sv, 4}, {"moov"sv, 4}, {"mdat"sv, 4}, {"wide"sv, 4}};
constexpr Beginning kMatroska[] = {{"\x1A\x45\xDF\xA3"sv}};
constexpr Beginning kOgg[] = {{"OggS"sv}};
constexpr Beginning kFlac[] = {{"fLaC"sv}};
constexpr Beginning kMp3[] = {
    {"ID3"sv}, {"\xFF\xFB"sv}, {"\xFF\xFA"sv}, {"\xFF\xF3"sv}, {"\xFF\xF2"sv}};
constexpr Beginning kPdf[] = {{"%PDF"sv}};
constexpr Beginning kPostScript[] = {{"%!PS"sv}, {"\xC5\xD0\xD3\xC6"sv}};
constexpr Beginning kZip[] = {{"PK\x03\x04"sv}, {"PK\x05\x06"sv}, {"PK\x07\x08"sv}};
constexpr Beginning kOle[] = {{"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv}};
constexpr Beginning kGzip[] = {{"\x1F\x8B"sv}};
constexpr Beginning kBzip[] = {{"BZh"sv}};
constexpr Beginning kXz[] = {{"\xFD\x37zXZ\0"sv}};
constexpr Beginning kZstd[] = {{"\x28\xB5\x2F\xFD"sv}};
constexpr Beginning kSevenZip[] = {{"7z\xBC\xAF\x27\x1C"sv}};
constexpr Beginning kRar[] = {{"Rar!\x1A\x07"sv}};
constexpr Beginning kSqlite[] = {{"SQLite format 3\0"sv}};
constexpr Beginning kElf[] = {{"\x7F\x45LF"sv}};
constexpr Beginning kExe[] = {{"MZ"sv}};
constexpr Beginning kFont[] = {{"\0\1\0\0"sv}, {"OTTO"sv}, {"true"sv}, {"ttcf"sv}};
constexpr Beginning kWoff[] = {{"wOFF"sv}, {"wOF2"sv}};
constexpr Beginning kPhotoshop[] = {{"8BPS"sv}};
constexpr Beginning kGimp[] = {{"gimp xcf"sv}};
constexpr Beginning kDjvu[] = {{"AT&TFORM"sv}};
constexpr Beginning kMidi[] = {{"MThd"sv}};
constexpr Beginning kAi[] = {{"%PDF"sv}, {"%!PS"sv}};
constexpr Beginning kBlend[] = {{"BLENDER"sv}, {"\x1F\x8B"sv}, {"\x28\xB5\x2F\xFD"sv}};
constexpr Beginning kAsf[] = {{"\x30\x26\xB2\x75"sv}};
constexpr Beginning kFlv[] = {{"FLV"sv}};
constexpr Beginning kAiff[] = {{"FORM"sv}};
constexpr Beginning kAac[] = {{"\xFF\xF1"sv}, {"\xFF\xF9"sv}, {"ADIF"sv}};
constexpr Beginning kMpeg[] = {{"\0\0\1\xBA"sv}, {"\0\0\1\xB3"sv}};
constexpr Beginning kTar[] = {{"ustar"sv, 257}};
constexpr Beginning kAccess[] = {{"\0\1\0\0Standard"sv}, {"\xD0\xCF\x11\xE0"sv}};
constexpr Beginning kKeePass[] = {{"\x03\xD9\xA2\x9A"sv}};
constexpr Beginning kVmdk[] = {{"KDMV"sv}, {"# Disk"sv}};
constexpr Beginning kQcow[] = {{"QFI\xFB"sv}};
constexpr Beginning kVdi[] = {{"<<< "sv}};
constexpr Beginning kFlash[] = {{"FWS"sv}, {"CWS"sv}, {"ZWS"sv}};
constexpr Beginning kHdf[] = {{"\x89HDF"sv}};
constexpr Beginning kNumpy[] = {{"\x93NUMPY"sv}};
constexpr Beginning kMatlab[] = {{"MATLAB"sv}, {"\x89HDF"sv}};
constexpr Beginning kParquet[] = {{"PAR1"sv}};
constexpr Beginning kOutlook[] = {{"!BDN"sv}};
constexpr Beginning kRaf[] = {{"FUJIFILM"sv}};
constexpr Beginning kOrf[] = {{"IIRO"sv}, {"IIRS"sv}, {"MMOR"sv}, {"II*\0"sv}};
constexpr Beginning kRw2[] = {{"IIU\0"sv}};
constexpr Beginning kIndesign[] = {{"\x06\x06\xED\xF5"sv}};
constexpr Beginning kDwg[] = {{"AC10"sv}, {"AC1."sv}};
constexpr Beginning kSketchUp[] = {{"\xFF\xFE\xFF\x0E"sv}, {"PK\x03\x04"sv}};
constexpr Beginning kMobi[] = {{"BOOKMOBI"sv, 60}};
constexpr Beginning kDicom[] = {{"DICM"sv, 128}};
constexpr Beginning kFits[] = {{"SIMPLE"sv}};
constexpr Beginning kDer[] = {{"\x30\x82"sv}};
constexpr Beginning kMessages[] = {{"\xDE\x12\x04\x95"sv}, {"\x95\x04\x12\xDE"sv}};

/// What begins so is no noise, whatever follows, and belongs to no suffix above.
constexpr Beginning kOthers[] = {{"\x04\x22\x4D\x18"sv},
                                 {"LZIP"sv},
                                 {"\x5D\0\0"sv},
                                 {"\x1F\x9D"sv},
                                 {"MSCF"sv},
                                 {"\0\0\1\0"sv},
                                 {"\0\0\0\x0CjP"sv},
                                 {"\xCA\xFE\xBA\xBE"sv},
                                 {"\0asm"sv},
                                 {"!<arch>"sv},
                                 {"\xED\xAB\xEE\xDB"sv},
                                 {"PACK"sv},
                                 {"hsqs"sv},
                                 {"sqsh"sv},
                                 {"Cr24"sv},
                                 {"070701"sv},
                                 {"xar!"sv},
                                 {"ISc("sv},
                                 {"BORG_SEG"sv},
                                 {"\xFF\x0A"sv},
                                 {"wvpk"sv},
                                 {"MAC "sv},
                                 {"\xCE\xB2\xCF\x81"sv},
                                 {"regf"sv},
                                 {"vhdxfile"sv},
                                 {"\0\0\0\x0CJXL "sv},
                                 {"\xFF\x4F\xFF\x51"sv},
                                 {"qoif"sv},
                                 {"FLIF"sv},
                                 {"BPG\xFB"sv},
                                 {"\x76\x2F\x31\x01"sv},
                                 {"\x0B\x77"sv},
                                 {"\x7F\xFE\x80\x01"sv},
                                 {"#!AMR"sv},
                                 {"TTA1"sv},
                                 {"MPCK"sv},
                                 {"MP+"sv},
                                 {"ajkg"sv},
                                 {"\xFF\xE2"sv},
                                 {"\xFF\xE3"sv},
                                 {"\xCF\x84"sv},
                                 {"\x89LZO"sv},
                                 {"\x02\x21\x4C\x18"sv},
                                 {"\xFF\x06\0\0sNaPpY"sv},
                                 {"LRZI"sv},
                                 {"7kSt"sv},
                                 {"zPQ"sv},
                                 {"-lh"sv, 2},
                                 {"\x60\xEA"sv},
                                 {"BZ3v1"sv},
                                 {"bvx"sv},
                                 {"ARROW1"sv}};

/// Of gpg, age, openssl, git-crypt and disks in a file.
constexpr Beginning kSealed[] = {
    {"age-encryption.org/"sv}, {"Salted__"sv}, {"\0GITCRYPT\0"sv}, {"LUKS\xBA\xBE"sv}};

struct Format {
  std::u16string_view Suffixes;  ///< a blank around each
  const Beginning *First, *Last;
};
template <std::size_t Size>
constexpr Format Of(std::u16string_view suffixes, const Beginning (&beginnings)[Size]) {
  return {suffixes, std::begin(beginnings), std::end(beginnings)};
}
constexpr Format kFormats[] = {
    Of(u" jpg jpeg jpe jfif ", kJpeg),
    Of(u" png ", kPng),
    Of(u" gif ", kGif),
    Of(u" bmp ", kBmp),
    Of(u" tif tiff dng nef cr2 arw ", kTiff),
    Of(u" webp wav avi ", kRiff),
    Of(u" mp4 m4a m4v mov 3gp heic heif avif cr3 ", kIso),
    Of(u" mkv webm mka ", kMatroska),
    Of(u" ogg oga ogv opus ", kOgg),
    Of(u" flac ", kFlac),
    Of(u" mp3 ", kMp3),
    Of(u" pdf ", kPdf),
    Of(u" ps eps ", kPostScript),
    Of(u" zip docx xlsx pptx docm xlsm odt ods odp odg epub jar apk xpi whl "
       u"pptm dotx xltx potx vsdx pages numbers key kra ora mscz 3mf sketch cbz npz odb ott ots "
       u"otp ",
       kZip),
    Of(u" doc xls ppt msg msi vsd mpp pub ", kOle),
    Of(u" gz tgz svgz rds ", kGzip),
    Of(u" bz2 tbz ", kBzip),
    Of(u" xz txz ", kXz),
    Of(u" zst ", kZstd),
    Of(u" 7z ", kSevenZip),
    Of(u" rar ", kRar),
    Of(u" sqlite sqlite3 ", kSqlite),
    Of(u" so o ", kElf),
    Of(u" exe dll ", kExe),
    Of(u" ttf otf ttc ", kFont),
    Of(u" woff woff2 ", kWoff),
    Of(u" psd psb ", kPhotoshop),
    Of(u" xcf ", kGimp),
    Of(u" djvu ", kDjvu),
    Of(u" mid midi ", kMidi),
    Of(u" ai ", kAi),
    Of(u" blend ", kBlend),
    Of(u" wmv wma asf ", kAsf),
    Of(u" flv ", kFlv),
    Of(u" aif aiff ", kAiff),
    Of(u" aac ", kAac),
    Of(u" mpg mpeg vob ", kMpeg),
    Of(u" tar ", kTar),
    Of(u" mdb accdb ", kAccess),
    Of(u" kdbx ", kKeePass),
    Of(u" vmdk ", kVmdk),
    Of(u" qcow2 ", kQcow),
    Of(u" vdi ", kVdi),
    Of(u" swf ", kFlash),
    Of(u" h5 hdf5 ", kHdf),
    Of(u" npy ", kNumpy),
    Of(u" mat ", kMatlab),
    Of(u" parquet ", kParquet),
    Of(u" pst ost ", kOutlook),
    Of(u" raf ", kRaf),
    Of(u" orf ", kOrf),
    Of(u" rw2 ", kRw2),
    Of(u" indd ", kIndesign),
    Of(u" dwg ", kDwg),
    Of(u" skp ", kSketchUp),
    Of(u" mobi azw3 ", kMobi),
    Of(u" dcm ", kDicom),
    Of(u" fits ", kFits),
    Of(u" pfx p12 ", kDer),
    Of(u" mo ", kMessages)};

constexpr std::u16string_view kTexts =
    u" txt md rst tex bib org log csv tsv ini cfg conf json xml html htm xhtml css svg yaml yml "
    u"toml "
    u"sql c h cc cpp cxx hpp hh hxx py pl pm rb sh js mjs ts jsx tsx java go rs php lua r swift kt "
    u"cs "
    u"vb bat ps1 cmd s asm inc m4 am ac cmake mk diff patch eml ics vcf srt vtt po pot ui qml rtf "
    u"tcl "
    u"el lisp scm hs ml vim texi info man desktop service rc def properties gpx kml fodt ipynb "
    u"mbox "
    u"gnucash dxf obj ";

bool Has(std::u16string_view suffixes, std::u16string_view suffix) {
  const std::size_t at = suffixes.find(suffix);
  return at != suffixes.npos;
}

/// In small letters, with a blank around it; empty without one.
std::u16string SuffixOf(std::u16string_view name) {
  constexpr std::size_t kLongest = 12;
  const std::size_t dot = name.rfind(u'.');
  if (dot == name.npos || dot == 0 || name.size() - dot > kLongest) return {};
  const std::u16string suffix = ToLower(name.substr(dot + 1));
  if (suffix.empty() || suffix.find(u' ') != suffix.npos) return {};
  return (u' ' + suffix) + u' ';
}

const Format* FormatOf(std::u16string_view suffix) {
  const auto* const found =
      std::find_if(std::begin(kFormats), std::end(kFormats),
                   [&](const Format& format) { return Has(format.Suffixes, suffix); });
  return suffix.empty() || found == std::end(kFormats) ? nullptr : found;
}

bool BeginsWith(std::string_view head, const Beginning* first, const Beginning* last) {
  return std::any_of(first, last, [&](const Beginning& one) {
    return head.size() > one.At && head.substr(one.At).starts_with(one.Bytes);
  });
}
template <typename Beginnings>
bool BeginsWith(std::string_view head, const Beginnings& beginnings) {
  return BeginsWith(head, std::begin(beginnings), std::end(beginnings));
}

/// A text of any character set; those of two bytes a character by their mark.
bool IsText(std::string_view head) {
  if (head.starts_with("\xFF\xFE"sv) || head.starts_with("\xFE\xFF"sv)) return true;
  const auto controls =
      static_cast<std::size_t>(std::count_if(head.begin(), head.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < 0x20 && (byte < 0x07 || byte > 0x0D) && byte != 0x1B) || byte == 0x7F;
      }));
  return !head.empty() && controls * 100 < head.size();
}

/// By the sum of squares: of random bytes it is 255 in the mean, and 380 lies five and a half
/// deviations above it. A table with each byte once is far below.
bool IsRandom(std::string_view bytes) {
  constexpr double kLeast = 150, kMost = 380;
  if (bytes.size() < kLeastNoise) return false;
  std::array<std::uint32_t, 256> counts{};
  for (const char c : bytes) ++counts[static_cast<unsigned char>(c)];
  double squares = 0;
  for (const std::uint32_t count : counts) squares += static_cast<double>(count) * count;
  const auto size = static_cast<double>(bytes.size());
  const double sum = squares * static_cast<double>(counts.size()) / size - size;
  return sum > kLeast && sum < kMost;
}

/// What compressed data without a name of its own begins with, as in the store of a version
/// control.
bool IsDeflated(std::string_view head) {
  if (head.size() < 2 || head[0] != '\x78') return false;
  return ((static_cast<unsigned>(head[0]) << 8) | static_cast<unsigned char>(head[1])) % 31 == 0;
}

/// A packet of a key that has encrypted what follows, as gpg writes it.
bool BeginsWithKey(std::string_view head) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(head[at]); };
  if (head.size() < kLeastNoise) return false;
  switch (byte(0)) {
    case 0x84:
    case 0xC1:
      return byte(2) == 3;
    case 0x85:
      return byte(1) < 8 && byte(3) == 3;
    case 0x8C:
    case 0xC3:
      return byte(1) < 64 && byte(2) >= 4 && byte(2) <= 6;
    default:
      return false;
  }
}

bool IsKnown(std::string_view head) {
  return IsDeflated(head) || BeginsWith(head, kOthers) ||
         std::any_of(std::begin(kFormats), std::end(kFormats), [&](const Format& format) {
           return BeginsWith(head, format.First, format.Last);
         });
}

}  // namespace

bool HasKnownFormat(std::u16string_view name) {
  const std::u16string suffix = SuffixOf(name);
  return !suffix.empty() && (FormatOf(suffix) || Has(kTexts, suffix));
}

ContentKind JudgeContent(std::u16string_view name, std::string_view head) {
  const std::u16string suffix = SuffixOf(name);
  const Format* const format = FormatOf(suffix);
  if (format && BeginsWith(head, format->First, format->Last)) return ContentKind::Format;
  // What a program puts before what it has encrypted is short.
  constexpr std::size_t kHeader = 512;
  const bool random = IsRandom(head) || (head.size() > kHeader && IsRandom(head.substr(kHeader)));
  if (!random) {
    return !suffix.empty() && Has(kTexts, suffix) && IsText(head) ? ContentKind::Format
                                                                  : ContentKind::Plain;
  }
  if (BeginsWith(head, kSealed) || BeginsWithKey(head)) return ContentKind::Sealed;
  return IsKnown(head) ? ContentKind::Plain : ContentKind::Noise;
}

}  // namespace kavrel
