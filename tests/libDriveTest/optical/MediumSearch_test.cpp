#include <regex>

#include "OpticalFixture.h"
#include "libDrive2/sim/SimDrives.h"
#include "libDriveTest/Events.h"
#include "libDriveTest/optional/libScsi2/DriveTestMMCRO.h"
#include "libDriveTest/optional/libScsi2/DriveTestMMCRW.h"
#include "quix5/ParameterText.h"

namespace libDriveTest {
namespace {

using namespace libDrive2;

class MediumSearchTest : public OpticalFixture {
protected:
    MediumSearchTest() {
        package("libDriveTest", {{"mediaType", "CD"},
                                 {"mediaRequiredSimple", " simple {MediaName}"},
                                 {"mediaIncorrect", " wrong {MediaName1} {MediaName2}"},
                                 {"disc", "disc"},
                                 {"NotEnoughDataLS", " little {MediaName1} {MediaName2}"},
                                 {"writeProtectedMedia", " protected {MediaName}"},
                                 {"InsertWritableMedia", "more"}});
    }
    /// The module's events keep their variables.
    ~MediumSearchTest() override { events::writeProtectedMedia->setVariable("MediaName", "Drive"); }

    /// "r" to read, "w" to write, and the selector; gives the state and the class of the drive.
    std::string search(const std::string& medium, const std::string& selector) {
        const std::string locator = medium == "gone" ? "sim:none" : "sim:optical,strict,media=" + medium;
        model.reset();
        model = SimDrives::get().optical(locator);
        quix5::DiagDevice device;
        device.setLocators(locator, "");
        device.setName("the writer");
        Profiles::forget();
        LIBDRIVE2_MEDIA_STATE state{};
        const auto number = static_cast<std::uint32_t>(selector[1] - '0');
        const SharedDrive made =
            selector[0] == 'r'
                ? SharedDrive(DriveTestMMCRO::createDrive(device, state, MMCRO_TEST{number}, kReadWrite, 0))
                : SharedDrive(DriveTestMMCRW::createDrive(device, state, MMCRW_TEST{number}, kReadWrite, 0));
        const std::string type = made ? typeid(*made).name() : "";
        std::smatch name;
        std::regex_search(type, name, std::regex("[A-Z][A-Za-z]+Drive"));
        EXPECT_TRUE(!made || made->name == "the writer");
        return std::to_string(state) + name.str();
    }
    /// The medium in the drive.
    [[nodiscard]] std::string inside() const {
        return model->disc() == nullptr ? "-" : std::string(model->disc()->type().name);
    }
    [[nodiscard]] std::string prompts() const {
        std::string all;
        for (const auto& prompt : host.prompts)
            all += prompt.text;
        return all;
    }

    std::shared_ptr<OpticalDrive> model;
};

TEST_F(MediumSearchTest, AcceptsTheProfilesThatAreNamed) {
    const std::string all = "8 9 a 10 11 12 13 14 15 16 17 18 1a 1b 2a 2b 40 41 42 43 50 51 52 53 58 5a ";
    // The list is parsed once, unless it is forgotten.
    for (const Texts& row : {Texts{"", all}, Texts{"CDROM", all}, Texts{"CDROM, DVDROM", "8 ", "forget"},
                             Texts{"BD_RE,nothing,,cdrom,DVDROM,BD_RE", "43 10 43 ", "forget"}}) {
        restart("");
        if (!row[0].empty())
            quix5::findParameter(anyTest(), "MMCsupportedProfiles")->set(quix5::Value(row[0]));
        if (row.size() > 2)
            Profiles::forget();
        Profiles::parseProfileList();
        zel::String parsed;
        for (const std::uint32_t profile : Profiles::s_profiles)
            parsed += zel::format("%x ", profile);
        EXPECT_EQ(parsed.utf8(), row[1]);
    }
    EXPECT_TRUE(Profiles::lock(quix5::DiagDevice()));
}

TEST_F(MediumSearchTest, GivesEachMediumItsClass) {
    restart("MinDataCapacity=0 PromptUserForMedia=no");
    // What media come to: to read, to read data from, to write, to write anywhere.
    for (const Texts& row : rowsOf(R"(1CDDrive|1CDDrive|3|3|cdrom|cdmixed
1CDDrive|3|3|3|cdaudio
1CDDrive|1CDDrive|1CDRecordableDrive|3|cdr
1CDDrive|1CDDrive|1CDRecordableDrive|1CDRROWDrive|cdrw
1DVDDrive|1DVDDrive|3|3|dvdrom
1DVDDrive|1DVDDrive|1DVDMinusDrive|3|dvdr
1DVDDrive|1DVDDrive|1DVDMRDLLJDrive|3|dvdr-dl|dvdr-dl-lj
1DVDDrive|1DVDDrive|1DVDMinusDrive|1DVDMinusDrive|dvdrw|dvdrw-ow|dvdrw-dl
1DVDRAMDrive|1DVDRAMDrive|1DVDRAMRWDrive|1DVDRAMRWDrive|dvdram
1DVDDrive|1DVDDrive|1DVDPlusDrive|1DVDPlusDrive|dvd+rw|dvd+r|dvd+rw-dl|dvd+r-dl
1BDDrive|1BDDrive|3|3|bdrom
1BDDrive|1BDDrive|1BDREDrive|3|bdr|bdr-random|bdre
3|3|3|3|hddvdrom)"))
        for (std::size_t i = 4; i < row.size(); ++i)
            EXPECT_EQ((Texts{search(row[i], "r0"), search(row[i], "r1"), search(row[i], "w0"),
                             search(row[i], "w1"), search(row[i], "w2")}),
                      (Texts{row[0], row[1], row[2], row[3], "3"}))
                << row[i];
    EXPECT_EQ(prompts() + story(), "");
}

TEST_F(MediumSearchTest, TellsWhyAMediumDoesNotDo) {
    // Selector, medium, parameters, what is found, prompted, and logged ("@" for the profile).
    for (const Texts& row : rowsOf(R"(r0|cdrom,sectors=5999||3| little disc disc|@0x8
r0|cdrom,sectors=6000||1CDDrive||
r0|cdrom,sectors=5999|MinDataCapacity=5999|1CDDrive||
r0|cdrom|MMCsupportedProfiles=DVDROM|3| simple CD (the writer)|
w0|cdr|MMCsupportedProfiles=CDRW|3| simple CD (the writer)|
r1|cdaudio||3| simple CD (the writer)|; 3 media capabilties unsupported : 0x60000@0x8
r1|cdmixed,sectors=90000|StartRange=30001|3| little disc disc|; 3 media capabilties unsupported : 0xe0000@0x8
r1|cdmixed,sectors=90000|StartRange=29999|1CDDrive||
r0|cdmixed,sectors=90000|StartRange=30001|1CDDrive||
r1|cdmixed,sectors=90000|StartRange=60000 EndRange=50000|1CDDrive||
r0|hddvdrom||3| simple CD (the writer)|; 3 media capabilties unsupported : 0x4000000@0x50
w0|cdrom||3| simple CD (the writer)|@0x8
w1|cdr||3| simple CD (the writer)|@0x9
w0|dvd+rw,wp||3| protected CD more|
w0|cdr,state=closed||3| protected CD more|
w1|dvdr,state=closed||3| protected CD more|
r0|dvd+rw,wp||1DVDDrive||)"))
        for (const char* const mute : {"", " PromptUserForMedia=no", "-"}) {
            SCOPED_TRACE(row[1] + " " + row[2] + mute);
            host.prompting = *mute != '-';
            restart(row[2] + (host.prompting ? mute : ""));
            EXPECT_EQ(search(row[1], row[0]), row[3]);
            EXPECT_EQ(prompts(), *mute == '\0' ? row[4] : "");
            EXPECT_EQ(lines(row[0][0] == 'r' ? "DriveTestMMCRO" : "DriveTestMMCRW"),
                      zel::String(row[5]).replace("@", "; 3 MMC profile unsupported : ").utf8());
            const bool warns = *mute != '\0' && row[4] == " little disc disc" && row[0] == "r0";
            EXPECT_EQ(story(), warns ? "; warning NotEnoughData(MediaName1=disc, MediaName2=disc)" : "");
        }
}

TEST_F(MediumSearchTest, AsksUntilAMediumFits) {
    // Selector, medium, parameters, answers (O and C; "+" when somebody simply puts one in), the check that
    // stops it, what is found, prompted, in the drive at each prompt and when that comes, in it then; aborts.
    for (const Texts& row : rowsOf(R"(r0|cdrom|||99|1CDDrive|||cdrom0
r0|dvdrom>cdrom|MMCsupportedProfiles=CDROM|O|99|1CDDrive| simple CD (the writer)|-@1 |cdrom0
r0|dvdrom>dvdrom>cdrom|MMCsupportedProfiles=CDROM|OO|99|1CDDrive| simple CD (the writer) wrong CD CD (the writer)|-@1 -@7 |cdrom0
r0|none>cdrom|||99|1CDDrive|||cdrom0
r0|none>cdrom|AlwaysEject=yes|O|99|1CDDrive| simple CD (the writer)|-@1 |cdrom0
r0|none>none>cdrom||O|99|1CDDrive| simple CD (the writer)|-@9 |cdrom0
r0|cdrom|AlwaysEject=yes|O|99|1CDDrive| simple CD (the writer)|-@1 |cdrom0
r0|cdrom|AlwaysEject=yes DoNotEject=yes|O|99|1CDDrive|||cdrom0
r0|cdr>cdrom|DoNotEject=yes MaxRetries=2|OO|99|3| little disc disc little disc disc|cdr@0 cdr@0 |cdr0
r0|dvdrom>cdrom|MMCsupportedProfiles=CDROM MaxRetries=1|OO|99|3| simple CD (the writer)|-@1 |cdrom0
r0|dvdrom|MMCsupportedProfiles=CDROM MaxRetries=0 DoNotEject=yes|OOOC|99|3| simple CD (the writer) wrong CD CD (the writer) wrong CD CD (the writer) wrong CD CD (the writer)
  dvdrom@0 dvdrom@0 dvdrom@0 dvdrom@0 |dvdrom2
r0|dvdrom>cdrom|MMCsupportedProfiles=CDROM|C|99|3| simple CD (the writer)|-@1 |cdrom2
r0|dvdrom>cdrom|MMCsupportedProfiles=CDROM||99|3| simple CD (the writer)||-0
r0|dvdrom>cdrom|MMCsupportedProfiles=CDROM|O|1|3| simple CD (the writer)|-@1 |cdrom0
r0|cdrom|||1|1CDDrive|||cdrom0
r0|none>cdrom,tray=no||+|99|1CDDrive| simple CD (the writer)|-@7 -@11 -@15 |cdrom0
w0|cdrom>cdrom>cdr||OO|99|1CDRecordableDrive| simple CD (the writer) wrong CD CD (the writer)|-@1 -@7 |cdr0
w0|cdrom>cdr||O|3|3| simple CD (the writer)|-@1 |cdr0
w0|cdr|||1|0|||cdr0
r0|gone|||99|4|||0)")) {
        SCOPED_TRACE(row[1] + " " + row[2] + " " + row[3]);
        restart(row[2]);
        std::string seen;
        const auto start = clock.now();
        host.answers.clear();
        for (const char answer : row[3])
            host.answers.push_back(answer == 'C' ? quix5::MessageBox2_Returns::CANCEL
                                                 : quix5::MessageBox2_Returns::OK);
        host.closes = [&] {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(clock.now() - start);
            seen += inside() + "@" + std::to_string(seconds.count()) + " ";
            clock.advance(std::chrono::seconds(row[3] == "+" ? 4 : 0));
            return row[3] != "+";
        };
        host.stop = [at = std::stoi(row[4])](int check) { return check >= at; };
        EXPECT_EQ(search(row[1], row[0]), row[5]);
        EXPECT_EQ(story(), row[5] == "4" ? "; warning cannotOpenDeviceRemoved()" : "");
        EXPECT_EQ(prompts(), row[6]);
        EXPECT_EQ(seen, row[7]);
        if (model != nullptr)
            (void)open<ScsiMMCDrive>(row[1])->waitForMedia(6000);
        EXPECT_EQ((model ? inside() : "") + std::to_string(host.abortRequests), row[8]);
    }
}

}  // namespace
}  // namespace libDriveTest
