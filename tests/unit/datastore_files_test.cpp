// The commands export-config and import-config.
#include "commands/commands.h"

#include <stdio.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/support/files.h"
#include "tests/support/shell_world.h"

namespace
{

const std::string ok = "<rpc-reply message-id=\"1\"><ok/></rpc-reply>";
const std::string printed_ok = "<rpc-reply message-id=\"1\">\n  <ok/>\n  </rpc-reply>\n";

std::string export_request(int message_id, const std::string &source)
{
    return rpc_line(message_id) + "  <get-config>\r\n    <source>\r\n      <" + source +
           "/>\r\n    </source>\r\n  </get-config>\r\n</rpc>\r\n";
}

std::string import_request(int message_id, const std::string &target, const std::string &body)
{
    return rpc_line(message_id) + "  <copy-config>\r\n    <target>\r\n      <" + target +
           "/>\r\n    </target>\r\n    <source>\r\n      <config>\r\n" + body +
           "      </config>\r\n    </source>\r\n  </copy-config>\r\n</rpc>\r\n";
}

class datastore_files_test : public shell_world
{
  protected:
    static void SetUpTestSuite()
    {
        private_tmp();
    }

    void SetUp() override
    {
        shell_world::SetUp();
        remove(path);
    }

    std::string export_line(const std::string &line)
    {
        captured_log_take();
        return output_of(cmd_export_config, line);
    }

    std::string import_line(const std::string &line)
    {
        captured_log_take();
        return output_of(cmd_import_config, line);
    }

    static std::string content(const char *name = path)
    {
        return file_text(name);
    }

    static void write_content(const std::string &text)
    {
        write_file(path, text);
    }

    static int open_descriptors()
    {
        int count = 0;
        for (int i = 0; i < 256; i++)
            count += fcntl(i, F_GETFD) >= 0 ? 1 : 0;
        return count;
    }

    static constexpr char path[] = "/tmp/export.xml";
};

TEST_F(datastore_files_test, export_writes_the_data)
{
    serve({data_reply("<c xmlns=\"urn:m\"><x>1 &lt; 2</x></c>"), data_reply("<a/>")});
    export_line("export-config running /tmp/export.xml");
    EXPECT_EQ(captured_log_take(), (log_lines{{14, "[INFO] Send a message to tarnd.\n"},
                                              {14, "[INFO] Recv a message from tarnd.\n"}}));
    EXPECT_EQ(content(), "<?xml version='1.0' encoding='UTF-8'?>"
                         "<data><c xmlns=\"urn:m\"><x>1 &lt; 2</x></c></data>");
    export_line("export-config startup /tmp/export.xml");
    EXPECT_EQ(content(), "<?xml version='1.0' encoding='UTF-8'?><data><a/></data>");
    EXPECT_EQ(requests(), (std::vector<std::string>{export_request(0, "running"),
                                                    export_request(1, "startup")}));
}

TEST_F(datastore_files_test, export_from_the_first_data_to_the_last)
{
    serve({"x</data><data>1</data><data>2</data>y"});
    export_line("export-config running /tmp/export.xml");
    EXPECT_EQ(content(), "<?xml version='1.0' encoding='UTF-8'?><data>1</data><data>2</data>");
}

TEST_F(datastore_files_test, export_of_an_empty_datastore_leaves_no_file)
{
    write_content("old");
    serve({data_reply("")});
    export_line("export-config running /tmp/export.xml");
    EXPECT_EQ(content(), "(no file)");
}

TEST_F(datastore_files_test, export_without_data_leaves_no_file)
{
    write_content("old");
    for (const char *reply : {"", "<data/>", "<data>", "</data>", "</data>x<data>",
                              "<data >1</data>", "<rpc-error></rpc-error>"}) {
        serve({reply});
        export_line("export-config running /tmp/export.xml");
        EXPECT_EQ(content(), "(no file)") << reply;
    }
}

TEST_F(datastore_files_test, export_refusals)
{
    for (const char *words :
         {"", " running", " running a b", " candidate /tmp/export.xml", " config /tmp/export.xml"})
        EXPECT_TRUE(refused(cmd_export_config, std::string("export-config") + words));
    EXPECT_EQ(content(), "(no file)");
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_files_test, export_to_a_path_that_cannot_be_opened)
{
    EXPECT_TRUE(refused(cmd_export_config, "export-config running /nowhere/x"));
    EXPECT_TRUE(refused(cmd_export_config, "export-config running /tmp"));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_files_test, export_to_what_is_no_file)
{
    int before = open_descriptors();
    EXPECT_EQ(export_line("export-config running /dev/null"), "");
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] export path is not a file.\r\n\n"}}));
    struct stat status = {};
    EXPECT_EQ(stat("/dev/null", &status), 0);
    EXPECT_EQ(session.message_id, 0U);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(datastore_files_test, export_to_a_fifo_does_not_hang)
{
    ASSERT_EQ(mkfifo(path, 0600), 0);
    EXPECT_TRUE(refused(cmd_export_config, "export-config running /tmp/export.xml"));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_files_test, export_when_the_daemon_is_gone)
{
    write_content("old");
    connect().hang_up();
    server->start();
    server->finish();
    EXPECT_EQ(export_line("export-config running /tmp/export.xml"),
              "send get-config message fail.\r\nexport config fail.\r\n");
    EXPECT_EQ(content(), "(no file)");
    disconnect();
    connect().expect().hang_up();
    server->start();
    export_line("export-config running /tmp/export.xml");
    EXPECT_EQ(content(), "(no file)");
    EXPECT_EQ(session.message_id, 2U);
}

TEST_F(datastore_files_test, export_to_a_quoted_path)
{
    serve({data_reply("<a/>")});
    export_line("export-config running /tmp/'a [b]=,c'");
    EXPECT_EQ(content("/tmp/'a [b]=,c'"),
              "<?xml version='1.0' encoding='UTF-8'?><data><a/></data>");
    remove("/tmp/'a [b]=,c'");
}

TEST_F(datastore_files_test, export_that_cannot_be_written_leaves_no_file)
{
    serve({data_reply(std::string(100000, 'x'))});
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    struct rlimit low = limit;
    low.rlim_cur = 5000;
    setrlimit(RLIMIT_FSIZE, &low);
    export_line("export-config running /tmp/export.xml");
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(captured_log_take(), (log_lines{{14, "[INFO] Send a message to tarnd.\n"},
                                              {14, "[INFO] Recv a message from tarnd.\n"},
                                              {11, "[ERROR] write file fail.\n\n"}}));
    EXPECT_EQ(content(), "(no file)");
}

TEST_F(datastore_files_test, a_large_export_and_its_import)
{
    const std::string body = "<c>" + std::string(3000000, 'd') + "</c>";
    serve({data_reply(body), ok});
    export_line("export-config running /tmp/export.xml");
    EXPECT_TRUE(content() == "<?xml version='1.0' encoding='UTF-8'?><data>" + body + "</data>");
    EXPECT_EQ(import_line("import-config /tmp/export.xml startup"), printed_ok);
    EXPECT_TRUE(requests()[1] == import_request(1, "startup", body));
}

TEST_F(datastore_files_test, import_sends_the_data)
{
    serve({ok, ok});
    write_content("<?xml version='1.0' encoding='UTF-8'?><data><a>%s &amp; /:</a></data>\n");
    EXPECT_EQ(import_line("import-config /tmp/export.xml running"), printed_ok);
    write_content("<data>1</data>x<data>2</data></data>tail");
    EXPECT_EQ(import_line("import-config /tmp/export.xml startup"), printed_ok);
    EXPECT_EQ(requests(), (std::vector<std::string>{
                              import_request(0, "running", "<a>%s &amp; /:</a>"),
                              import_request(1, "startup", "1</data>x<data>2</data>"),
                          }));
}

TEST_F(datastore_files_test, import_of_the_word_config_is_text)
{
    serve({ok});
    sample_schema();
    tree_stage_config("/m/c/x", "1", operation_set);
    write_content("<data>config</data>");
    EXPECT_EQ(import_line("import-config /tmp/export.xml running"), printed_ok);
    EXPECT_EQ(requests()[0], import_request(0, "running", "config"));
    EXPECT_NE(session.config_tree.root, nullptr);
}

TEST_F(datastore_files_test, import_of_bytes_that_are_codes)
{
    serve({ok});
    write_content("<data>\x01\x02\x03\x0b</data>");
    import_line("import-config /tmp/export.xml running");
    EXPECT_EQ(requests()[0], import_request(0, "running", "\x01\x02\x03\x0b"));
}

TEST_F(datastore_files_test, import_ends_at_the_first_zero_byte)
{
    serve({ok, ok});
    write_content(std::string("<data>ab\0cd</data>", 18));
    EXPECT_EQ(import_line("import-config /tmp/export.xml running"), printed_ok);
    // The search goes on after zero bytes.
    write_content(std::string("\0\0<data>ab</data>", 17));
    EXPECT_EQ(import_line("import-config /tmp/export.xml running"), printed_ok);
    EXPECT_EQ(requests(), (std::vector<std::string>{import_request(0, "running", "ab"),
                                                    import_request(1, "running", "ab")}));
}

TEST_F(datastore_files_test, import_of_empty_data)
{
    serve({ok});
    write_content("<data></data>");
    EXPECT_EQ(import_line("import-config /tmp/export.xml running"), printed_ok);
    EXPECT_EQ(requests()[0], import_request(0, "running", ""));
}

TEST_F(datastore_files_test, import_of_files_without_data)
{
    const std::string page_end = std::string(4096 - 6, 'x') + "<data>";
    for (const std::string &text :
         {std::string("<a/>"), std::string("</data>"), std::string("</data><data>"), page_end,
          std::string(8192, '<')}) {
        write_content(text);
        EXPECT_TRUE(refused(cmd_import_config, "import-config /tmp/export.xml running")) << text;
    }
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_files_test, import_of_a_file_of_whole_pages)
{
    serve({ok});
    std::string body(4096 - 13, 'b');
    write_content("<data>" + body + "</data>");
    EXPECT_EQ(import_line("import-config /tmp/export.xml running"), printed_ok);
    EXPECT_EQ(requests()[0], import_request(0, "running", body));
}

TEST_F(datastore_files_test, import_of_an_empty_file)
{
    write_content("");
    EXPECT_TRUE(refused(cmd_import_config, "import-config /tmp/export.xml running"));
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] input file is EMPTY.\n\n"}}));
}

TEST_F(datastore_files_test, import_of_a_file_that_cannot_be_opened)
{
    write_content("<data>1</data>");
    struct rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    struct rlimit low = limit;
    low.rlim_cur = 0;
    captured_log_take();
    EXPECT_EQ(printed_by([&] {
                  setrlimit(RLIMIT_NOFILE, &low);
                  cmd_import_config("import-config /tmp/export.xml running");
                  setrlimit(RLIMIT_NOFILE, &limit);
              }),
              "");
    EXPECT_EQ(captured_log_take(), (log_lines{{11, "[ERROR] Opening input file failed.\r\n\n"}}));
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_files_test, import_refusals)
{
    const std::string line = "import-config /tmp/export.xml running";
    for (const char *words : {"", " /tmp/export.xml", " a b c", " /tmp/export.xml candidate",
                              " /tmp/export.xml running", " /tmp running"})
        EXPECT_TRUE(refused(cmd_import_config, std::string("import-config") + words));
    ASSERT_EQ(symlink("/etc/passwd", path), 0);
    EXPECT_TRUE(refused(cmd_import_config, line));
    remove(path);
    ASSERT_EQ(mkfifo(path, 0600), 0);
    EXPECT_TRUE(refused(cmd_import_config, line));
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(datastore_files_test, import_from_a_quoted_path)
{
    serve({ok});
    write_content("<data>1</data>");
    rename(path, "/tmp/\"a b\"");
    EXPECT_EQ(import_line("import-config /tmp/\"a b\" running"), printed_ok);
    remove("/tmp/\"a b\"");
}

TEST_F(datastore_files_test, no_descriptor_is_left_open)
{
    write_content("<data>1</data>");
    int before = open_descriptors();
    import_line("import-config /tmp/export.xml running");
    write_content("x");
    import_line("import-config /tmp/export.xml running");
    write_content("");
    import_line("import-config /tmp/export.xml running");
    export_line("export-config running /tmp/export.xml");
    EXPECT_EQ(open_descriptors(), before);
}

} // namespace
