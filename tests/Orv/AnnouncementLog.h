// Subscribers that record an entity's announcements, for tests that check what was announced and when.
#pragma once

#include <Lumo/Publisher.h>
#include <Vem/Entity.h>

#include <string>
#include <utility>
#include <vector>

namespace OrvTest {

// The attribute ids announced, in order.
class AnnouncedIds : public Lumo::Subscriber {
 public:
  explicit AnnouncedIds(Vem::Entity& e) : entity_(e) { entity_.publisher().subscriberAdd(this); }
  ~AnnouncedIds() override { entity_.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void*, const void*) override { ids.push_back(id); }
  std::vector<Lumo::AttributeId> ids;

 private:
  Vem::Entity& entity_;
};

// Each announcement as "id", with " key" and " old" when it carries them.
class AnnouncementLines : public Lumo::Subscriber {
 public:
  explicit AnnouncementLines(Vem::Entity& e) : entity_(e) { entity_.publisher().subscriberAdd(this); }
  ~AnnouncementLines() override { entity_.publisher().subscriberDel(this); }
  void onChange(Lumo::AttributeId id, const void* key, const void* old) override {
    lines.push_back(std::to_string(id) + (key ? " key" : "") + (old ? " old" : ""));
  }
  std::vector<std::string> take() { return std::exchange(lines, {}); }
  std::vector<std::string> lines;
  Vem::Entity& entity() const { return entity_; }

 private:
  Vem::Entity& entity_;
};

}  // namespace OrvTest
