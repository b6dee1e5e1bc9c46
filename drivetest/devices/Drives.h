#pragma once

#include <string>
#include <vector>

#include "drivetest/devices/ApartAnswers.h"
#include "quix5/DiagDevice.h"
#include "zel/Words.h"

namespace drivetest {

/// Device properties of ATA drives, all booleans.
inline constexpr const char* kPropertyPasswordSupported = "SecurityPasswordSupported";
inline constexpr const char* kPropertyPasswordSet = "SecurityPasswordSet";
inline constexpr const char* kPropertyLocked = "ATASecurityLocked";

/// Type of the protection information that a SCSI drive keeps beside its sectors, 1 to 3; not set without.
inline constexpr const char* kPropertyProtectionType = "ProtectionType";
/// Why the system has no block device for the drive, a text; not set where it has one.
inline constexpr const char* kPropertyWhyNotShown = "WhyNotShown";

/// Why the drive could not be asked what it is, a sentence; not set where it answers.
inline constexpr const char* kPropertySilence = "Silence";

/// The device property that says how a drive is reached, and what it may hold.
inline constexpr const char* kAccessOrderProperty = "__libDriveTest_AccessOrder";
inline constexpr const char* kAccessOrderForms = zel::marked(
    "DriveTestSearchOrder:N:N..., tried in this order: 1 ATA, 2 SCSI, 3 optical, 4 USB floppy, 5 floppy, "
    "6 block device, 7 block device with SCSI, 8 NVMe");

/// Whether the text has that form.
bool isAccessOrder(const std::string& text);

/// The drives of this machine, with what the drives themselves tell. One that does not answer holds nobody
/// up. No other thread may run.
std::vector<quix5::DiagDevice> listDrives();

/// Whether the locator names something at all; false after a sentence in `error`.
bool isThere(const std::string& locator, std::string& error);

/// The drive that a locator names; false after a sentence in `error`.
bool findDrive(const std::string& locator, quix5::DiagDevice& device, std::string& error);

/// Replaces what the device says of its identity by what the inventory says of the drive that this path leads
/// to: its model, serial number, size and so on.
void describeAgain(quix5::DiagDevice& device, const std::string& path);

/// Whether a property tells which drive it is, or what it is like: the user cannot change that.
bool isIdentityProperty(const std::string& name);

/// Properties as text and numbers; empty or 0 when the device has none of that name.
std::string textProperty(const quix5::DiagDevice& device, const char* name);
std::uint64_t numberProperty(const quix5::DiagDevice& device, const char* name);
bool flagProperty(const quix5::DiagDevice& device, const char* name);

/// What is unlike other drives in how it is formatted, as pieces of sentences: why the system does not show
/// it, and protection information beside its sectors.
std::vector<std::string> formatNotes(const quix5::DiagDevice& device);

/// "HardDrive", "SCSISBC" and so on, in the order of their enumeration.
std::vector<std::string> capabilityNames(const quix5::DiagDevice& device);
/// Those of these names.
quix5::DeviceCapability capabilitiesOf(const std::vector<std::string>& names);

/// Why nothing is known of a drive that was asked, a sentence; of one that answered there is none.
std::string describeSilence(const std::string& locator, ApartAnswer::End end);

}  // namespace drivetest
