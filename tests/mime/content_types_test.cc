#include "mime/content_types.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

TEST(ContentTypesTest, finds_the_type_of_an_extension_as_it_stands_in_the_table) {
  struct Row {
    std::string_view extension, contentType;  // empty: unknown
  };
  const Row rows[] = {
      {"evy", "application/envoy"},  // first and last group
      {"flr", "x-world/x-vrml"},
      {"xof", "x-world/x-vrml"},
      {"*", "application/octet-stream"},  // first and last when sorted
      {"323", "text/h323"},
      {"z", "application/x-compress"},
      {"cdf", "application/x-cdf"},  // twice in the table
      {"nc", "application/x-netcdf"},
      {"pdf", "application/pdf"},
      {"jpe", "image/jpeg"},
      {"jpeg", "image/jpeg"},
      {"jpg", "image/jpeg"},
      {"gz", "application/x-gzip"},
      {"sh", "application/x-sh"},
      {"tsv", "text/tab-separated-values"},
      {"t", "application/x-troff"},
      {"tex", "application/x-tex"},
      {"texinfo", "application/x-texinfo"},
      {"", {}},
      {"PDF", {}},
      {"Jpg", {}},
      {"tar.gz", {}},
      {"tex ", {}},
      {"texi texinfo", {}},
      {"pd", {}},
      {"zzz", {}},
      {std::string_view("gz\0", 3), {}},
  };
  for (const Row& row : rows) {
    qv::StringBuffer out("before");
    EXPECT_EQ(qv::contentTypeForExtension(row.extension, out), !row.contentType.empty()) << row.extension;
    EXPECT_EQ(out, row.contentType.empty() ? "before" : row.contentType) << row.extension;
  }
}

}  // namespace
