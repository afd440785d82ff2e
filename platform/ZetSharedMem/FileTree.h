#pragma once

#include <Slate/Store.h>
#include <Slate/StoreSpec.h>
#include <ZetSharedMem/SafeFile.h>

#include <memory>
#include <string>
#include <vector>

namespace ZetSharedMem {

// The files of one manager: "<root>/<manager>/<entity path>.slate" and beside each an ".owner" file
// (see OwnerFile.h). A file that was found unfit stands aside as ".slate.bad", the last one of each
// collection. A ".slate.new" is a file that was being made when its maker died.
class FileTree {
  public:
    FileTree(std::string root, std::string manager);

    std::string fileName(std::string const& path) const; // full name of an entity's file

    // See MountContext.h.
    std::shared_ptr<Slate::Store> openForWriting(std::string const& path,
                                                 Slate::StoreSpec const& spec) const;
    std::shared_ptr<Slate::Store> openForReading(std::string const& path,
                                                 Slate::StoreSpec const& spec) const;

    // Paths of the entities at or below `base` that have a file.
    std::vector<std::string> list(std::string const& base) const;

  private:
    struct Place {
        FileDescriptor folder;
        std::string folderName;
        std::string stem; // of the file in the folder
    };
    Place place(std::string const& path, Missing missing) const;
    static FileDescriptor makeAnew(Place const& place, Slate::StoreSpec const& spec, bool wiped);
    static void setAside(Place const& place);

    std::string root_;
    std::string manager_;
};

// Whether a text can be an entity path (components separated by slashes) or, without slashes, a
// manager's name: no component is empty, too long or begins with a dot. Raises `MountException`.
void checkPath(std::string const& path);
void checkName(std::string const& name);

} // namespace ZetSharedMem
