#pragma once

#include <QString>

#include <optional>

// The machine and the distribution channel, as every service request names them.
//
// Device identifier: 32 upper-case hexadecimal digits, remembered in
// "<user data folder>/.uuid.dat" ({"uuid": identifier}). When the file holds
// none, it is the machine's identifier: on Linux /etc/machine-id (below
// $VESKO_SYSTEM_ROOT when set), upper-cased, in the 8-4-4-4-12 form with the
// hyphens removed. Channel: "ZQQuDao" of the installed info dictionary, "0000"
// when absent.

// The device identifier (cached), or none when neither the file nor the
// machine gives one. Never writes the file. Run log: "stack".
std::optional<QString> GetUUID();
// The machine's identifier in its 8-4-4-4-12 form (cached), or none.
// Run log: "beg", "uuid".
std::optional<QString> GetUUIDSource();
// The "uuid" value of ".uuid.dat", or none.
std::optional<QString> getUUIDFromLocalFile();
// Renews the identifier from the machine and rewrites ".uuid.dat" atomically.
void setUUIDToLocalFile();
// The channel code (cached), "0000" when absent.
QString GetQuDao();

namespace zq::utility {

// The 36-character value after "IOPlatformUUID" in the hardware registry's
// output (a line of the form "IOPlatformUUID" = "<value>"), or none when the
// key is missing or the value does not fit in the output.
std::optional<QString> platformUUIDFromRegistryOutput(const QString& output);
// The device identifier from the same output: the value without hyphens,
// only when at least one character follows the value.
std::optional<QString> deviceIdentifierFromRegistryOutput(const QString& output);

// The machine identifier file's content (32 hexadecimal digits and a line
// end) in the raw 8-4-4-4-12 form, upper case; none for anything else.
std::optional<QString> platformUUIDFromMachineId(const QByteArray& content);

// The machine's raw identifier: platformUUIDFromMachineId of the file at
// platform::Locations::machineIdPath().
std::optional<QString> readPlatformUUID();

}  // namespace zq::utility
