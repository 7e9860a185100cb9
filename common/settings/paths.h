// Tells where things lie: the application bundle's resources, the user's home and data folders, mounted volumes.
//
// The program may run from two places: as the bundle's main executable (Contents/MacOS), or as its Finder Sync
// extension (Contents/PlugIns/*.appex/Contents/MacOS), whose executable's path ends in "FinderSync". Both find the same
// resources and the same data folder.
//
// No function reports an error or throws anything but allocation failures: what can't be found falls back as each
// comment says. Every call asks the system again. `GetHomePath`, `GetAppDataPath` and `GetOSXMountPath` are not safe
// for concurrent use, neither with each other nor with anything else that reads the user database; the others are.
#pragma once

#include <string>

// Returns the bundle's resource folder, absolute, resolved and with a '/' at its end, or an empty text when the
// executable's path has 1024 bytes or more with its NUL. When the folder does not exist the path is returned
// unresolved, with its "..".
//
//   GetResourcePath()  // "/Applications/Pellux.app/Contents/Resources/"
std::string GetResourcePath();

// Returns whether the running executable is the Finder Sync extension: its path ends in "FinderSync", whatever
// precedes that. False when the path has 1024 bytes or more with its NUL.
bool IsFinderSync();

// Returns the user's home folder: what the user database says, the environment variable HOME only when that has no
// entry for the user, and an empty text when there is neither.
std::string GetHomePath();

// Returns the folder for application data, without a trailing '/': the home folder followed by
// "/Library/Application Support". In the Finder Sync extension the system gives a sandbox container as home; from
// there the path leads four levels up, with its ".." left in it. The argument is not used: callers append the SDK name
// themselves.
//
//   GetAppDataPath("Pellux")  // "/Users/ada/Library/Application Support"
std::string GetAppDataPath(std::string sdk_name);

// Returns where the volume `name` of this user is mounted, "/Volumes/NAME_LOGIN". Nothing is looked up on the disk. The
// login name is empty for a user without an entry in the user database.
//
//   GetOSXMountPath("Archive")  // "/Volumes/Archive_ada"
std::string GetOSXMountPath(std::string name);
