// The writer table: its 155 pairs by file format, the targets of the converted rows, and that every
// target is itself written as it is.
#include "lxstillimagewriter.h"

#include <gtest/gtest.h>

#include <lxapi/lxpixelformat.h>

#include <map>

TEST(StillImageWriterTable, PairsByFileFormatAndTargets) {
    const auto& table = CLxStillImageWriter::StillImageWriterTable();
    EXPECT_EQ(table.size(), 155u);
    std::map<int32_t, size_t> perFormat;
    for (const auto& [key, record] : table) {
        ++perFormat[key.fileFormat];
        if (record.target == CLxStillImageWriter::NoConversion) continue;
        const auto target = table.find({record.target, key.fileFormat});
        ASSERT_NE(target, table.end()) << std::hex << key.pixelFormat;
        EXPECT_EQ(target->second.target, CLxStillImageWriter::NoConversion);
    }
    EXPECT_EQ(perFormat, (std::map<int32_t, size_t>{{1, 10}, {2, 6}, {3, 22}, {4, 18}, {5, 99}}));
    using K = CLxStillImageWriter::WriterKey;
    EXPECT_EQ(table.at(K{LxPixelFormat_BGR8, StillImageFileFormat_TIFF}).target, LxPixelFormat_RGB8);
    EXPECT_EQ(table.at(K{LxPixelFormat_BGRa10, StillImageFileFormat_TIFF}).target, LxPixelFormat_RGB16);
    EXPECT_EQ(table.at(K{LxPixelFormat_BGRa12, StillImageFileFormat_PNG}).target, LxPixelFormat_BGR12);
    EXPECT_EQ(table.at(K{LxPixelFormat_RGBa8, StillImageFileFormat_JPEG}).target, LxPixelFormat_RGB8);
    EXPECT_EQ(table.at(K{LxPixelFormat_RGBa8, StillImageFileFormat_Bitmap}).target, LxPixelFormat_BGRa8);
    EXPECT_EQ(table.count(K{LxPixelFormat_Mono8, StillImageFileFormat_Raw}), 0u);
    // Ordered by pixel format as a signed number: the SDK's own codes come first.
    EXPECT_EQ(table.begin()->first.pixelFormat & 0x80000000u, 0x80000000u);
    EXPECT_EQ(CLxStillImageWriter::RawRecord.target, CLxStillImageWriter::NoConversion);
}
