#include "drivetest/shelf/kept/FoundDrives.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::DriveIdentity;
using zel::words;

/// All that the system has, asked once and only where one is missing.
class Others {
public:
    /// Those that are this drive.
    std::vector<std::pair<std::string, DriveAnswer>> like(const DriveIdentity& wanted) {
        if (!m_isAsked)
            ask();
        std::vector<std::pair<std::string, DriveAnswer>> found;
        for (const auto& each : m_all)
            if (each.second.identity && libDrive2::isSameDrive(*each.second.identity, wanted))
                found.push_back(each);
        return found;
    }

private:
    void ask() {
        std::vector<DriveQuestion> questions;
        for (const zel::String& locator : libDrive2::DeviceLease::listLocators())
            questions.push_back({locator.utf8()});
        std::vector<DriveAnswer> answers = askDrives(questions);
        m_isAsked = true;
        for (std::size_t i = 0; i < answers.size(); ++i)
            m_all.emplace_back(questions[i].locator, std::move(answers[i]));
    }

    std::vector<std::pair<std::string, DriveAnswer>> m_all;
    bool m_isAsked = false;
};

void refuse(FoundDrive& found, const std::string& why, ExitStatus status = kExitCannotRun) {
    found.refusal = why;
    found.refusedAs = status;
}

/// Of another size it is no longer what the work was for.
void checkSize(FoundDrive& found, const DriveIdentity& before) {
    if (!found.answer.identity)
        return;
    const DriveIdentity& now = *found.answer.identity;
    if (now.sectors != before.sectors || now.sectorBytes != before.sectorBytes)
        refuse(found,
               words("{drive} has another size now: {n} sectors of {bytes} bytes, and had {before} of {old}",
                     {{"drive", printable(found.locator)},
                      {"n", now.sectors},
                      {"bytes", now.sectorBytes},
                      {"before", before.sectors},
                      {"old", before.sectorBytes}}));
}

/// The one at its former place, whatever it is.
void takeByPlace(FoundDrive& found) {
    if (!found.answer.error.empty())
        refuse(found, found.answer.error);
    else if (!found.answer.identity)
        refuse(found, found.answer.problem, found.answer.isSilent ? kExitTimedOut : kExitCannotRun);
}

void takeByIdentity(FoundDrive& found, const DriveIdentity& wanted, Others& others) {
    if (found.answer.identity && libDrive2::isSameDrive(*found.answer.identity, wanted))
        return;
    // It may be the one that is meant, and nobody knows.
    if (found.answer.isSilent) {
        refuse(found, found.answer.problem, kExitTimedOut);
        return;
    }
    const auto like = others.like(wanted);
    const std::string drive = printable(wanted.describe().utf8());
    if (like.size() == 1) {
        found.locator = like.front().first;
        found.answer = like.front().second;
    } else if (like.size() > 1) {
        refuse(found, words("{drive} could be {first} or {second}: take one of them away",
                            {{"drive", drive}, {"first", like[0].first}, {"second", like[1].first}}));
    } else if (!found.answer.problem.empty()) {
        refuse(found, found.answer.problem);
    } else {
        refuse(found, words("its drive is not there: {drive}, which was {path}; connect it, then try again",
                            {{"drive", drive}, {"path", printable(found.locator)}}));
    }
}

}  // namespace

std::vector<FoundDrive> findAgain(const std::vector<const DriveWork*>& drives) {
    std::vector<DriveQuestion> questions;
    questions.reserve(drives.size());
    for (const DriveWork* const drive : drives)
        questions.push_back({drive->device, !drive->refusal.empty()});
    std::vector<DriveAnswer> answers = askDrives(questions);
    Others others;
    std::vector<FoundDrive> all;
    for (std::size_t i = 0; i < drives.size(); ++i) {
        FoundDrive& found = all.emplace_back();
        found.locator = drives[i]->device;
        found.answer = std::move(answers[i]);
        const std::optional<DriveIdentity>& wanted = drives[i]->identity;
        if (wanted && libDrive2::isStable(*wanted))
            takeByIdentity(found, *wanted, others);
        else
            takeByPlace(found);
        if (found.refusal.empty() && wanted)
            checkSize(found, *wanted);
    }
    return all;
}

}  // namespace drivetest
