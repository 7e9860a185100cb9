// Flags for opening, a file's status, folders, and the numbers of errors.
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/tools/machorun/fixture.h"

int main() {
  char folder[] = "/tmp/machorun-files-XXXXXX";
  EXPECT(mkdtemp(folder) != nullptr);
  const std::string file = std::string(folder) + "/file";
  const std::string link = std::string(folder) + "/link";

  const int written = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0640);
  EXPECT(written >= 0);
  EXPECT(write(written, "12345", 5) == 5);
  EXPECT((fcntl(written, F_GETFD) & FD_CLOEXEC) != 0);
  EXPECT(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0640) == -1);
  EXPECT(errno == EEXIST);
  errno = 0;
  EXPECT(errno == 0);
  const int copy = fcntl(written, F_DUPFD_CLOEXEC, 50);
  EXPECT(copy >= 50);
  EXPECT(close(copy) == 0);

  struct stat status;
  EXPECT(fstat(written, &status) == 0);
  EXPECT(status.st_size == 5);
  EXPECT(S_ISREG(status.st_mode));
  EXPECT((status.st_mode & 0777) == 0640);
  EXPECT(status.st_nlink == 1);
  EXPECT(status.st_uid == geteuid());
  EXPECT(close(written) == 0);

  const int appended = open(file.c_str(), O_WRONLY | O_APPEND);
  EXPECT((fcntl(appended, F_GETFL) & O_APPEND) != 0);
  EXPECT(write(appended, "6", 1) == 1);
  EXPECT(close(appended) == 0);
  EXPECT(stat(file.c_str(), &status) == 0);
  EXPECT(status.st_size == 6);

  EXPECT(symlink(file.c_str(), link.c_str()) == 0);
  EXPECT(lstat(link.c_str(), &status) == 0);
  EXPECT(S_ISLNK(status.st_mode));
  EXPECT(open(link.c_str(), O_RDONLY | O_NOFOLLOW) == -1);
  EXPECT(errno == ELOOP);
  EXPECT(open((std::string(folder) + "/" + std::string(300, 'n')).c_str(), O_RDONLY) == -1);
  EXPECT(errno == ENAMETOOLONG);
  EXPECT(strcmp(strerror(ENOENT), "No such file or directory") == 0);
  EXPECT(rmdir(folder) == -1);
  EXPECT(errno == ENOTEMPTY);

  std::set<std::string> names;
  DIR* const opened = opendir(folder);
  for (const dirent* entry = readdir(opened); entry != nullptr; entry = readdir(opened)) names.insert(entry->d_name);
  EXPECT(closedir(opened) == 0);
  EXPECT(names == (std::set<std::string>{".", "..", "file", "link"}));

  std::filesystem::copy_file(file, file + "2");
  EXPECT(std::filesystem::file_size(file + "2") == 6);
  EXPECT(std::filesystem::remove_all(folder) == 4);
  return 0;
}
