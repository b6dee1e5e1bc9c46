#include "libDrive2/DriveIdentity.h"

#include <gmock/gmock.h>

namespace libDrive2 {
namespace {

DriveIdentity drive(std::string id, std::vector<StorageExtent> storage,
                    std::vector<StorageExtent> carriers = {}) {
    return {"M", "S", 100, 512, std::move(id), std::move(storage), std::move(carriers)};
}

DriveIdentity disk(const std::string& id) {
    return drive(id, {{id}});
}

TEST(DriveIdentity, SurvivesBeingWritten) {
    DriveIdentity odd =
        drive("dm:a b\\n\nc", {{"file:x y:1:\n2", 512, 0}, {"", 0, 4096}}, {{"wwid:naa.5", 7, 8}});
    odd.model = "M\nid wwid:other\\";
    odd.serial = "";
    DriveIdentity read;
    ASSERT_TRUE(DriveIdentity::fromText(odd.toText(), read));
    EXPECT_EQ(read, odd);
    for (const char* spoilt :
         {"", "model", "model M\n", "sector-bytes x\n", "sector-bytes 512\nstorage 1 2\n",
          "sector-bytes 512\nstorage 1 a b\n", "sector-bytes 0\n"})
        EXPECT_FALSE(DriveIdentity::fromText(spoilt, read)) << spoilt;
}

TEST(DriveIdentity, SaysWhatIsTheSameDriveAndWhatSharesItsBytes) {
    const DriveIdentity sda = disk("wwid:naa.1");
    const DriveIdentity sda1 = drive("wwid:naa.1+512+1024", {{"wwid:naa.1", 512, 1024}});
    const DriveIdentity sda2 = drive("wwid:naa.1+1536+512", {{"wwid:naa.1", 1536, 512}});
    const DriveIdentity image = drive("file:f:7:1.5", {{"file:f:7:1.5"}}, {{"wwid:naa.1", 512, 1024}});
    const DriveIdentity unborn = drive("file:f:7:", {{"file:f:7:"}});
    const DriveIdentity reused = drive("file:f:7:9.0", {{"file:f:7:9.0"}}, {{"wwid:naa.1", 512, 1024}});
    const DriveIdentity neighbour = drive("file:f:8:1.5", {{"file:f:8:1.5"}}, {{"wwid:naa.1", 512, 1024}});
    const DriveIdentity stick = drive("", {{"boot:1:disk:4"}});
    const DriveIdentity nothing = drive("", {});
    const DriveIdentity hole = drive("", {{"", 0, 512}});
    const DriveIdentity mapping = drive("", {{"wwid:naa.1", 1000, 100}, {"", 0, 512}});
    const DriveIdentity lv = drive("dm:LVM-1", {{"wwid:naa.1", 0, 100}});
    const DriveIdentity lvElsewhere = drive("dm:LVM-1", {{"wwid:naa.2", 0, 100}});
    const DriveIdentity array = drive("md:1", {{"md:1"}}, {{"wwid:naa.1", 512, 1024}});
    const DriveIdentity clonedPartition = drive("partuuid:9", {{"boot:1:disk:4", 512, 1024}});
    const DriveIdentity replugged = drive("partuuid:9", {{"boot:1:disk:5", 512, 1024}});
    struct Row {
        const char* what;
        DriveIdentity a, b;
        bool same, shares;
    };
    const Row rows[] = {
        {"itself", sda, sda, true, true},
        {"another namespace", disk("wwid:eui.1"), disk("wwid:eui.2"), false, false},
        {"its partition", sda, sda1, false, true},
        {"two partitions", sda1, sda2, false, false},
        {"a mapping over its end and a neighbour's start", mapping, sda1, false, true},
        {"a mapping that ends before", lv, sda1, false, false},
        {"a mapping of the same name over another disk", lv, lvElsewhere, false, true},
        {"a file on it", sda1, image, false, true},
        {"a file beside", sda2, image, false, false},
        {"two files of one file system", image, neighbour, false, false},
        {"a file whose name is gone", image, unborn, true, true},
        {"another file in its place", image, reused, false, false},
        {"an array's member", array, sda, false, true},
        {"a stick that was not taken out", stick, stick, true, true},
        {"a partition of a drive that was put in again", clonedPartition, replugged, true, true},
        {"nothing", nothing, nothing, false, false},
        {"a hole", hole, hole, false, false},
        {"a mapping without a name", mapping, mapping, true, true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(isSameDrive(row.a, row.b), row.same) << row.what;
        EXPECT_EQ(isSameDrive(row.b, row.a), row.same) << row.what;
        EXPECT_EQ(sharesStorage(row.a, row.b), row.shares) << row.what;
        EXPECT_EQ(sharesStorage(row.b, row.a), row.shares) << row.what;
    }
    for (const DriveIdentity* stable : {&sda, &image, &lv, &clonedPartition})
        EXPECT_TRUE(isStable(*stable)) << stable->id.toText();
    for (const DriveIdentity* passing : {&stick, &nothing})
        EXPECT_FALSE(isStable(*passing));
}

}  // namespace
}  // namespace libDrive2
