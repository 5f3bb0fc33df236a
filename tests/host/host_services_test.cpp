// The host's renderer services as the plug-in sees them: memory bookkeeping, the message log,
// database pins, locks and the custom options behind the shader interface.
#include <gtest/gtest.h>

#include <thread>

#include "host/database.h"
#include "host/locks.h"
#include "host/memory.h"
#include "host/messages.h"
#include "host/shader_interface.h"
#include "mray/mi_interface.h"

namespace {

TEST(HostServices, MemoryIsTrackedAndADoubleReleaseIsReported) {
  host::clear_messages();
  auto* block = static_cast<unsigned char*>(mi_mem_int_allocate("mray", 42, 16));
  ASSERT_NE(block, nullptr);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(block[i], 0);  // zero-filled
  char* copy = mi_mem_int_strdup("mray", 43, "asm_7");
  EXPECT_STREQ(copy, "asm_7");
  EXPECT_EQ(mi_mem_int_strdup("mray", 44, nullptr), nullptr);
  ASSERT_EQ(host::memory_in_use().size(), 2u);

  block = static_cast<unsigned char*>(mi_mem_int_reallocate("mray", 45, block, 64));
  ASSERT_NE(block, nullptr);
  mi_mem_int_release("mray", 46, block);
  mi_mem_int_release("mray", 47, copy);
  mi_mem_int_release("mray", 48, nullptr);  // ignored
  EXPECT_TRUE(host::memory_in_use().empty());
  EXPECT_EQ(host::memory_release_faults(), 0u);

  testing::internal::CaptureStderr();
  mi_mem_int_release("mray", 99, copy);  // the second release of the same block
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(host::memory_release_faults(), 1u);
  const std::vector<host::Message> messages = host::messages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(messages[0].level, host::Level::error);
  EXPECT_EQ(messages[0].text.rfind("mray:99: release of renderer memory that is not held", 0), 0u);
}

TEST(HostServices, MessagesAreKeptWithLevelAndPrintedWithoutOneTrailingNewline) {
  host::clear_messages();
  host::set_verbosity(3);
  testing::internal::CaptureStderr();
  mi_info("-->asm_exec()\n");
  mi_debug("-->resolve option: render_pass name=%s", "beauty");  // above the verbosity
  mi_error("-->horderaMray: %s cannot be loaded.", "x.cdl");
  mi_warning("two\n\n");
  const std::string printed = testing::internal::GetCapturedStderr();
  host::set_verbosity(2);
  EXPECT_EQ(
      printed,
      "info: -->asm_exec()\nerror: -->horderaMray: x.cdl cannot be loaded.\nwarning: two\n\n");
  const std::vector<host::Message> messages = host::messages();
  ASSERT_EQ(messages.size(), 4u);
  EXPECT_EQ(messages[0].text, "-->asm_exec()\n");
  EXPECT_EQ(messages[1].level, host::Level::debug);
  EXPECT_EQ(messages[1].text, "-->resolve option: render_pass name=beauty");
  EXPECT_EQ(messages[2].level, host::Level::error);
  EXPECT_EQ(messages[3].text, "two\n\n");
}

TEST(HostServices, DatabaseAccessPinsAndUnpinBalances) {
  const miTag tag = host::db_create_string("a.cdl x.apf 3");
  EXPECT_EQ(mi_db_type(tag), miSCENE_STRING);
  EXPECT_EQ(mi_db_size(tag), 14);
  EXPECT_STREQ(static_cast<const char*>(mi_db_access(tag)), "a.cdl x.apf 3");
  EXPECT_STREQ(static_cast<const char*>(mi_db_access(tag)), "a.cdl x.apf 3");
  EXPECT_EQ(host::db_pins(tag), 2);
  mi_db_unpin(tag);
  mi_db_unpin(tag);
  EXPECT_EQ(host::db_pins(tag), 0);

  host::clear_messages();
  testing::internal::CaptureStderr();
  mi_db_unpin(tag);                              // more unpins than accesses
  EXPECT_EQ(mi_db_access(tag + 1000), nullptr);  // no such element
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(host::db_pins(tag), 0);
  ASSERT_EQ(host::messages().size(), 2u);
  EXPECT_EQ(host::messages()[0].level, host::Level::error);
  EXPECT_EQ(mi_db_type(0), miSCENE_NONE);
  host::db_clear();  // gives the elements back, as the end of a session does
}

TEST(HostServices, GlobalLockIsReentrantForItsHolderAndExcludesOthers) {
  const miLock lock = host::global_lock();
  mi_lock(lock);
  mi_lock(lock);  // the holder may take it again
  EXPECT_EQ(host::lock_depth(lock), 2);
  bool other_entered = false;
  std::thread other([&] {
    mi_lock(lock);
    other_entered = true;
    mi_unlock(lock);
  });
  mi_unlock(lock);
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_FALSE(other_entered);  // still held once
  mi_unlock(lock);
  other.join();
  EXPECT_TRUE(other_entered);
  EXPECT_EQ(host::lock_depth(lock), 0);

  host::clear_messages();
  testing::internal::CaptureStderr();
  mi_unlock(lock);  // not held
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(host::messages().size(), 1u);
}

TEST(HostServices, OptionsAreReadByTypeThroughTheShaderInterface) {
  host::StringOptions values;
  values["render_pass"].kind = host::OptionValue::Kind::string;
  values["render_pass"].text = "beauty";
  values["motion_blur"].kind = host::OptionValue::Kind::boolean;
  values["motion_blur"].boolean = true;
  values["samples"].kind = host::OptionValue::Kind::integer;
  values["samples"].integer = 4;
  const miTag tag = host::create_string_options(values);

  EXPECT_EQ(mi_get_shader_interface(2), nullptr);
  mi::shader_v3::Interface* interface = mi_get_shader_interface(3);
  ASSERT_NE(interface, nullptr);
  mi::shader_v3::Options* options = interface->getOptions(tag);
  interface->release();
  ASSERT_NE(options, nullptr);
  EXPECT_EQ(host::db_pins(tag), 1);

  const char* text = nullptr;
  EXPECT_TRUE(options->get("render_pass", &text));
  EXPECT_STREQ(text, "beauty");
  bool flag = false;
  EXPECT_TRUE(options->get("motion_blur", &flag));
  EXPECT_TRUE(flag);
  int number = 0;
  EXPECT_TRUE(options->get("motion_blur", &number));  // a boolean reads as an int
  EXPECT_EQ(number, 1);
  float scalar = 0;
  EXPECT_TRUE(options->get("samples", &scalar));  // an int reads as a float
  EXPECT_EQ(scalar, 4.0f);
  // Wrong type or missing: false, and the value is left alone.
  flag = true;
  EXPECT_FALSE(options->get("render_pass", &flag));
  EXPECT_FALSE(options->get("nothing", &flag));
  EXPECT_TRUE(flag);
  options->release();
  EXPECT_EQ(host::db_pins(tag), 0);
  EXPECT_EQ(host::shader_interface_objects_held(), 0);
  host::db_clear();
}

}  // namespace
