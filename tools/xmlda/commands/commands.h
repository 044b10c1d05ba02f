#pragma once

#include "xmlda/Arguments.h"
#include "xmlda/print/Console.h"
#include "xmlda/soap/Client.h"

namespace xmlda {

/// @name The commands
/// Each calls the server, prints what was asked for, and reports what is wrong with single items on the
/// console, whose status is then the program's.
/// @throws Failure  if nothing, or nothing more, can be had from the server, or the output cannot be written
/// @{
void run_status(Client& client, const Arguments& arguments, Console& console);
void run_browse(Client& client, const Arguments& arguments, Console& console);
void run_read(Client& client, const Arguments& arguments, Console& console);
void run_get(Client& client, const Arguments& arguments, Console& console);
void run_write(Client& client, const Arguments& arguments, Console& console);
/// Ends on Ctrl-C, after the time or the number of changes that the arguments give, or when a lost connection
/// does not come back; the subscription is cancelled in each case.
void run_watch(Client& client, const Arguments& arguments, Console& console);
/// Ends as `run_watch` does, and when the database cannot be written.
void run_record(Client& client, const Arguments& arguments, Console& console);
void run_replay(const Arguments& arguments, Console& console);
/// @}

/// Prints what a shell may put in place of `word`, one a line: names of items, with "/" behind those of
/// branches and, for a write, "=" behind the others; behind a "=" the item's symbols.
/// @throws Failure  as those above
void run_complete(Client& client, const Arguments& arguments, const std::string& word, Console& console);

}  // namespace xmlda
