// The type system's own module: the entity base as a type, whose values are references to entities
// (Lumo::Ptr<Vem::Entity>). Tools reach any entity reference through its shared methods table.
#include <Vem/GenericIfEntity.h>
#include <Vem/Registry.h>

namespace {

constexpr char vemTypeNames[] = "Vem::Entity\0";
constexpr char vemMemberNames[] = "\0";

constexpr Vem::TypeRecord vemTypes[] = {
    Vem::makeTypeRecord(Vem::TypeKind::entity, 0, Vem::layoutOf<Lumo::Ptr<Vem::Entity>>(), 0, 0, 0, -3),
};
constexpr Vem::MemberRecord vemMembers[] = {Vem::makeMemberRecord(0, 0, 0, 0, 0, 0, 0, 0)};
constexpr Vem::ParamRecord vemParams[] = {Vem::makeParamRecord(0, 0)};
const Vem::ImplEntry vemImpls[] = {
    {nullptr, nullptr, &Vem::GenericIfImpl::GenericIfPtrInterfaceMethods<Vem::Entity>::table, nullptr, nullptr, nullptr},
};

}  // namespace

extern "C" const Vem::VemModule _Vem_PtrInterface_vemModule = {
    vemTypes, vemMembers, vemParams, vemTypeNames, vemMemberNames, nullptr, vemImpls, 1,
};

namespace {
[[maybe_unused]] const bool vemRegistered = (Vem::vemModuleIs(&_Vem_PtrInterface_vemModule, "Vem_PtrInterface", 0), true);
}  // namespace
