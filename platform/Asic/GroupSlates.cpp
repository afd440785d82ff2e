#include <Asic/GroupSlates.h>

namespace Asic {

namespace {

ZetSharedMem::TypeRegistration<AnnouncementSlate> const announcementSlate{
    AnnouncementSlate::typeName};
ZetSharedMem::TypeRegistration<TableVersionMap> const tableVersionMap{TableVersionMap::typeName};
ZetSharedMem::TypeRegistration<AgentSlate> const agentSlate{AgentSlate::typeName};

} // namespace

} // namespace Asic
