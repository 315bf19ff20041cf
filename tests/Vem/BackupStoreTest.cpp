// The backup store keeps entries per attribute id, keyed by bytes (zero bytes included).
#include <Vem/Backup.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(BackupStore, EntriesArePerAttributeAndKeyedByTheirBytes) {
  Vem::BackupStore store;
  const std::string zero(8, '\0'), zeroOne = std::string(7, '\0') + '\1';
  store.set(258, zeroOne, "b");
  store.set(258, zero, "a");
  store.set(259, zero, "other attribute");
  store.set(258, zero, "a2");  // replaces
  EXPECT_EQ(store.size(), 3u);
  EXPECT_EQ(store.keys(258), (std::vector<std::string>{zero, zeroOne}));
  EXPECT_EQ(store.get(258, zero), "a2");
  EXPECT_EQ(store.get(259, zero), "other attribute");
  EXPECT_FALSE(store.get(258, std::string(8, '\2')));
  EXPECT_TRUE(store.keys(260).empty());
  EXPECT_TRUE(store.del(258, zero));
  EXPECT_FALSE(store.del(258, zero));
  EXPECT_FALSE(store.del(300, zero));
  EXPECT_EQ(store.keys(258), std::vector<std::string>{zeroOne});
}

}  // namespace
