#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>

// vesko-tool is made of commands, each in its own cmd_<name>.cpp, which
// registers itself with a static ToolCommand object:
//
//   static const vesko::tool::ToolCommand kCommand{
//       "base64", "encode or decode Base64 on standard input",
//       "usage: vesko-tool base64 encode|decode\n...", &runBase64};
//
// run() receives the arguments after the command's name and returns the exit
// status. Conventions: results on standard output (JSON where structured),
// errors on standard error with a non-zero status, "--help" on every level.
namespace vesko::tool {

using RunFunction = std::function<int(const QStringList& args)>;

struct ToolCommand {
    ToolCommand(const char* name, const char* summary, const char* usage, RunFunction run);
};

QTextStream& out();
QTextStream& err();

// True when args holds "--help" or "-h" as its first element; prints usage.
bool wantsHelp(const QStringList& args, const char* usage);
// Prints "vesko-tool: <message>" on standard error and returns 2.
int usageError(const QString& message, const char* usage = nullptr);
// Prints "vesko-tool: <message>" on standard error and returns 1.
int fail(const QString& message);
// Reads all of standard input as bytes.
QByteArray readStdin();

}  // namespace vesko::tool
