#include <Vem/Backup.h>

namespace Vem {

void throwBackupSizeMismatch(std::string_view typeName, std::size_t expected, std::size_t found) {
  throw BackupSizeMismatch("backup size mismatch: " + std::string(typeName) + " is " + std::to_string(expected) +
                           " bytes, not " + std::to_string(found));
}

void BackupStore::set(AttributeId attribute, std::string_view key, std::string_view value) {
  auto& entries = entries_[attribute];
  auto it = entries.find(key);
  if (it != entries.end())
    it->second.assign(value);
  else
    entries.emplace(std::string(key), std::string(value));
}

bool BackupStore::del(AttributeId attribute, std::string_view key) {
  auto at = entries_.find(attribute);
  if (at == entries_.end()) return false;
  auto it = at->second.find(key);
  if (it == at->second.end()) return false;
  at->second.erase(it);
  if (at->second.empty()) entries_.erase(at);
  return true;
}

std::vector<std::string> BackupStore::keys(AttributeId attribute) const {
  std::vector<std::string> out;
  auto at = entries_.find(attribute);
  if (at == entries_.end()) return out;
  out.reserve(at->second.size());
  for (const auto& [key, value] : at->second) out.push_back(key);
  return out;
}

std::optional<std::string> BackupStore::get(AttributeId attribute, std::string_view key) const {
  auto at = entries_.find(attribute);
  if (at == entries_.end()) return std::nullopt;
  auto it = at->second.find(key);
  if (it == at->second.end()) return std::nullopt;
  return it->second;
}

std::size_t BackupStore::size() const noexcept {
  std::size_t n = 0;
  for (const auto& [attribute, entries] : entries_) n += entries.size();
  return n;
}

}  // namespace Vem
