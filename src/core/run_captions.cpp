#include "core/run_captions.h"

#include "base/number.h"
#include "files/size_text.h"

namespace kavrel {

namespace {

std::u16string Caption(std::u16string label, std::u16string_view text) {
  label += text;
  return label;
}

}  // namespace

std::u16string SourceCaption(std::u16string_view folder) {
  return Caption(u"來源目錄：", folder);
}

std::u16string DestinationCaption(std::u16string_view folder) {
  return Caption(u"目標目錄：", folder);
}

std::u16string FileCaption(std::u16string_view name) {
  return Caption(u"檔案名稱：", name);
}

std::u16string CopyProgressText(std::uint64_t total_size, std::uint64_t bytes_done) {
  const double percent =
      total_size == 0 ? 100.0
                      : 100.0 * static_cast<double>(bytes_done) / static_cast<double>(total_size);
  return u" [ " + FormatSize(bytes_done, SizeMode::Both) + u" / " +
         FormatSize(total_size, SizeMode::Both) + u" ] " +
         Decimal(static_cast<std::int64_t>(percent)) + u" %";
}

ProgressBar CopyProgressBar(std::uint64_t total_size, std::uint64_t bytes_done,
                            std::uint32_t block_size) {
  const std::uint64_t step = block_size > 0 ? block_size : 1;
  const std::uint64_t max = (total_size + step / 2) / step + 1;
  return {max, bytes_done >= total_size ? max : bytes_done / step};
}

}  // namespace kavrel
