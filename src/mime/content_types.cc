#include "mime/content_types.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace qv {
namespace {

// Every content type with the extensions that it is known by, separated by spaces. Where an extension stands
// twice, the first row has it.
struct Group {
  std::string_view contentType;
  std::string_view extensions;
};
constexpr Group kGroups[] = {
    {"application/envoy", "evy"},
    {"application/fractals", "fif"},
    {"application/x-shockwave-flash", "swf"},
    {"application/futuresplash", "spl"},
    {"application/hta", "hta"},
    {"application/internet-property-stream", "acx"},
    {"application/mac-binhex40", "hqx"},
    {"application/msword", "doc dot"},
    {"application/octet-stream", "* bin class dms exe lha lzh"},
    {"application/oda", "oda"},
    {"application/olescript", "axs"},
    {"application/pdf", "pdf"},
    {"application/pics-rules", "prf"},
    {"application/pkcs10", "p10"},
    {"application/pkix-crl", "crl"},
    {"application/postscript", "ai eps ps"},
    {"application/rtf", "rtf"},
    {"application/set-payment-initiation", "setpay"},
    {"application/set-registration-initiation", "setreg"},
    {"application/vnd.ms-excel", "xla xlc xlm xls xlt xlw"},
    {"application/vnd.ms-pkicertstore", "sst"},
    {"application/vnd.ms-pkiseccat", "cat"},
    {"application/vnd.ms-pkistl", "stl"},
    {"application/vnd.ms-powerpoint", "pot pps ppt"},
    {"application/vnd.ms-project", "mpp"},
    {"application/vnd.ms-works", "wcm wdb wks wps"},
    {"application/winhlp", "hlp"},
    {"application/x-bcpio", "bcpio"},
    {"application/x-cdf", "cdf"},
    {"application/x-compress", "z"},
    {"application/x-compressed", "tgz"},
    {"application/x-cpio", "cpio"},
    {"application/x-csh", "csh"},
    {"application/x-director", "dcr dir dxr"},
    {"application/x-dvi", "dvi"},
    {"application/x-gtar", "gtar"},
    {"application/x-gzip", "gz"},
    {"application/x-hdf", "hdf"},
    {"application/x-internet-signup", "ins isp"},
    {"application/x-iphone", "iii"},
    {"application/x-javascript", "js"},
    {"application/x-latex", "latex"},
    {"application/x-msaccess", "mdb"},
    {"application/x-mscardfile", "crd"},
    {"application/x-msclip", "clp"},
    {"application/x-msdownload", "dll"},
    {"application/x-msmediaview", "m13 m14 mvb"},
    {"application/x-msmetafile", "wmf"},
    {"application/x-msmoney", "mny"},
    {"application/x-mspublisher", "pub"},
    {"application/x-msschedule", "scd"},
    {"application/x-msterminal", "trm"},
    {"application/x-mswrite", "wri"},
    {"application/x-netcdf", "cdf nc"},
    {"application/x-perfmon", "pma pmc pml pmr pmw"},
    {"application/x-pkcs12", "p12 pfx"},
    {"application/x-pkcs7-certificates", "p7b spc"},
    {"application/x-pkcs7-certreqresp", "p7r"},
    {"application/x-pkcs7-mime", "p7c p7m"},
    {"application/x-pkcs7-signature", "p7s"},
    {"application/x-sh", "sh"},
    {"application/x-shar", "shar"},
    {"application/x-stuffit", "sit"},
    {"application/x-sv4cpio", "sv4cpio"},
    {"application/x-sv4crc", "sv4crc"},
    {"application/x-tar", "tar"},
    {"application/x-tcl", "tcl"},
    {"application/x-tex", "tex"},
    {"application/x-texinfo", "texi texinfo"},
    {"application/x-troff", "roff t tr"},
    {"application/x-troff-man", "man"},
    {"application/x-troff-me", "me"},
    {"application/x-troff-ms", "ms"},
    {"application/x-ustar", "ustar"},
    {"application/x-wais-source", "src"},
    {"application/x-x509-ca-cert", "cer crt der"},
    {"application/vnd.ms-pkipko", "pko"},
    {"application/zip", "zip"},
    {"audio/basic", "au snd"},
    {"audio/mid", "mid rmi"},
    {"audio/mpeg", "mp3"},
    {"audio/x-aiff", "aif aifc aiff"},
    {"audio/x-mpegurl", "m3u"},
    {"audio/x-pn-realaudio", "ra ram"},
    {"audio/x-wav", "wav"},
    {"image/bmp", "bmp"},
    {"image/cis-cod", "cod"},
    {"image/gif", "gif"},
    {"image/ief", "ief"},
    {"image/jpeg", "jpe jpeg jpg"},
    {"image/pipeg", "jfif"},
    {"image/tiff", "tif tiff"},
    {"image/x-cmu-raster", "ras"},
    {"image/x-cmx", "cmx"},
    {"image/x-icon", "ico"},
    {"image/x-portable-anymap", "pnm"},
    {"image/x-portable-bitmap", "pbm"},
    {"image/x-portable-graymap", "pgm"},
    {"image/x-portable-pixmap", "ppm"},
    {"image/x-rgb", "rgb"},
    {"image/x-xbitmap", "xbm"},
    {"image/x-xpixmap", "xpm"},
    {"image/x-xwindowdump", "xwd"},
    {"message/rfc822", "mht mhtml nws"},
    {"text/css", "css"},
    {"text/h323", "323"},
    {"text/html", "htm html stm"},
    {"text/iuls", "uls"},
    {"text/plain", "bas c cpp h hpp txt"},
    {"text/richtext", "rtx"},
    {"text/scriptlet", "sct"},
    {"text/tab-separated-values", "tsv"},
    {"text/webviewhtml", "htt"},
    {"text/x-component", "htc"},
    {"text/x-etext", "etx"},
    {"text/x-vcard", "vcf"},
    {"video/mpeg", "mp2 mpa mpe mpeg mpg mpv2"},
    {"video/quicktime", "mov qt"},
    {"video/x-la-asf", "lsf lsx"},
    {"video/x-ms-asf", "asf asr asx"},
    {"video/x-msvideo", "avi"},
    {"video/x-sgi-movie", "movie"},
    {"x-world/x-vrml", "flr vrml wrl wrz xaf xof"},
};

struct Row {
  std::string_view extension;
  std::string_view contentType;
};

constexpr std::size_t kNumRows = [] {
  std::size_t count = 0;
  for (const Group& group : kGroups) {
    count += 1 + static_cast<std::size_t>(std::count(group.extensions.begin(), group.extensions.end(), ' '));
  }
  return count;
}();

// The same sorted by extension, for a binary search.
constexpr std::array<Row, kNumRows> kRows = [] {
  std::array<Row, kNumRows> rows{};
  std::size_t size = 0;
  for (const Group& group : kGroups) {
    for (std::string_view rest = group.extensions; !rest.empty();) {
      const std::string_view extension = rest.substr(0, rest.find(' '));
      rest.remove_prefix(std::min(extension.size() + 1, rest.size()));
      // Sorted in, behind an equal one.
      std::size_t at = size++;
      for (; at > 0 && extension < rows[at - 1].extension; --at) rows[at] = rows[at - 1];
      rows[at] = {extension, group.contentType};
    }
  }
  return rows;
}();
static_assert(kNumRows == 191);

}  // namespace

bool contentTypeForExtension(std::string_view extension, StringBuffer& out) {
  const auto found =
      std::lower_bound(kRows.begin(), kRows.end(), extension,
                       [](const Row& row, std::string_view wanted) { return row.extension < wanted; });
  if (found == kRows.end() || found->extension != extension) return false;
  out = found->contentType;
  return true;
}

}  // namespace qv
