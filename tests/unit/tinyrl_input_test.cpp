// Lines from input that is not a terminal: what is returned and what a
// transcript shows.
#include <errno.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>

#include "tests/support/tinyrl_session.h"

namespace
{

// An editor between two files.
class piped_session
{
  public:
    explicit piped_session(const std::string &text)
    {
        input = tmpfile();
        fwrite(text.data(), 1, text.size(), input);
        rewind(input);
        FILE *fresh = fdopen(dup(fileno(input)), "r");
        fclose(input);
        input = fresh;
        output = open_memstream(&written, &written_size);
        editor = tinyrl_new(input, output, 10, nullptr);
    }

    ~piped_session()
    {
        tinyrl_delete(editor);
        fclose(input);
        fclose(output);
        free(written);
    }

    piped_session(const piped_session &) = delete;
    piped_session &operator=(const piped_session &) = delete;

    // The next line; "(none)" for none.
    std::string read()
    {
        return take_line(tinyrl_readline(editor, "> ", this));
    }

    std::string read_preset(const char *text)
    {
        return take_line(tinyrl_readline_preset(editor, "> ", this, text));
    }

    // What has been written since the last call.
    std::string take()
    {
        fflush(output);
        std::string text(written + taken, written_size - taken);
        taken = written_size;
        return text;
    }

    // How much has left the buffer of the output.
    size_t handed_on() const
    {
        return written_size;
    }

    struct tinyrl *editor = nullptr;
    int error = 0;

  private:
    std::string take_line(char *line)
    {
        error = errno;
        std::string text = line != nullptr ? line : "(none)";
        free(line);
        return text;
    }

    FILE *input = nullptr;
    FILE *output = nullptr;
    char *written = nullptr;
    size_t written_size = 0;
    size_t taken = 0;
};

// Reads one line of text and checks it and what is written.
void expect_line(const std::string &text, const std::string &line, const std::string &transcript)
{
    piped_session session(text);
    EXPECT_EQ(line, session.read());
    EXPECT_EQ(transcript, session.take());
}

void expect_no_line(const std::string &text, const std::string &transcript)
{
    piped_session session(text);
    EXPECT_EQ("(none)", session.read());
    EXPECT_EQ(2, session.error);
    EXPECT_EQ(transcript, session.take());
    EXPECT_EQ("(none)", session.read());
    EXPECT_EQ(2, session.error);
    EXPECT_EQ("", session.take());
}

bool refuse(struct tinyrl * /*editor*/, int key)
{
    return key != 10;
}

bool append_mark(struct tinyrl *editor, int key)
{
    std::string mark = std::to_string(key) + "!";
    return tinyrl_insert_text(editor, mark.data(), mark.size());
}

void *context_seen;

bool note_context(struct tinyrl *editor, int /*key*/)
{
    context_seen = tinyrl_get_context(editor);
    return true;
}

} // namespace

TEST(tinyrl_input, a_transcript_shows_prompts_and_lines)
{
    piped_session session("pwd\nls -l\nquit\n");
    EXPECT_EQ("pwd", session.read());
    EXPECT_EQ("> pwd\n", session.take());
    EXPECT_EQ("ls -l", session.read());
    EXPECT_EQ("> ls -l\n", session.take());
    EXPECT_EQ("quit", session.read());
    EXPECT_EQ("> quit\n", session.take());
    EXPECT_EQ("(none)", session.read());
    EXPECT_EQ("", session.take());
}

TEST(tinyrl_input, what_is_shown_goes_together_up_to_the_last_line_that_is_there)
{
    piped_session session("one\ntwo\nthree\nfou");
    session.read();
    EXPECT_EQ(session.handed_on(), 0U);
    session.read();
    EXPECT_EQ(session.handed_on(), 0U);
    session.read();
    EXPECT_EQ(session.handed_on(), strlen("> one\n> two\n> three"));
    EXPECT_EQ(session.take(), "> one\n> two\n> three\n");
}

TEST(tinyrl_input, an_empty_line_shows_the_prompt)
{
    expect_line("\n", "", "> \n");
    expect_line("\r\n", "", "> \n");
    expect_line("  \t \n", "", "> \n");
}

TEST(tinyrl_input, no_input_gives_no_line_and_no_output)
{
    expect_no_line("", "");
}

TEST(tinyrl_input, white_text_at_the_end_shows_the_prompt_and_gives_no_line)
{
    expect_no_line(" ", "> ");
    expect_no_line(" \t  ", "> ");
    expect_no_line("\r", "> ");
    expect_no_line(std::string(78, ' '), "> ");
    expect_no_line(std::string(79, ' '), "> ");
    expect_no_line(std::string(80, ' '), "> ");
    expect_no_line(std::string(400, '\t'), "> ");
    expect_no_line(std::string(78, ' ') + "\n", "> ");
}

TEST(tinyrl_input, the_last_line_needs_no_line_end)
{
    expect_line("pwd", "pwd", "> pwd\n");
    piped_session session("a\nb");
    EXPECT_EQ("a", session.read());
    EXPECT_EQ("b", session.read());
    EXPECT_EQ("(none)", session.read());
    EXPECT_EQ("> a\n> b\n", session.take());
}

TEST(tinyrl_input, leading_blanks_and_tabs_are_skipped)
{
    expect_line(" \t ls  x\n", "ls  x", "> ls  x\n");
    expect_line("\v ls\n", "\v ls", "> \v ls\n");
}

TEST(tinyrl_input, trailing_blanks_stay)
{
    expect_line("ls \n", "ls ", "> ls \n");
    expect_line("ls  \n", "ls  ", "> ls  \n");
}

TEST(tinyrl_input, a_line_is_cut_at_the_first_carriage_return)
{
    expect_line("ls\r\n", "ls", "> ls\n");
    expect_line("ls\rpwd\n", "ls", "> ls\n");
}

TEST(tinyrl_input, keys_have_no_meaning)
{
    expect_line("a\x7f\x1b[Db\x03\x15?\t\n", "a\x7f\x1b[Db\x03\x15?\t",
                "> a\x7f\x1b[Db\x03\x15?\t\n");
}

TEST(tinyrl_input, bytes_above_127_are_kept)
{
    expect_line("\xff\xa0 \xc3\xa9\n", "\xff\xa0 \xc3\xa9", "> \xff\xa0 \xc3\xa9\n");
}

TEST(tinyrl_input, zero_bytes_do_no_harm)
{
    expect_line(std::string("p\0wd\0\n", 6), "pwd", "> pwd\n");
    expect_line(std::string("\0\0pwd\n", 6), "pwd", "> pwd\n");
    expect_line(std::string("\0\n", 2), "", "> \n");
    expect_no_line(std::string(200, '\0'), "> ");
    std::string line = std::string(50, '\0') + std::string(50, 'x') + std::string(50, '\0');
    piped_session session(line + "y\nz\n");
    EXPECT_EQ(std::string(50, 'x') + "y", session.read());
    EXPECT_EQ("z", session.read());
    EXPECT_EQ("> " + std::string(50, 'x') + "y\n> z\n", session.take());
}

TEST(tinyrl_input, lines_of_every_length_are_read_whole)
{
    for (size_t length = 1; length <= 400; length++) {
        std::string line(length, 'x');
        line[length - 1] = 'y';
        piped_session session(line + "\nnext\n");
        bool joined = (length + 1) % 79 == 0;
        EXPECT_EQ(joined ? line + "next" : line, session.read()) << length;
        EXPECT_EQ(joined ? "(none)" : "next", session.read()) << length;
    }
}

TEST(tinyrl_input, a_line_that_fills_its_last_piece_is_joined_with_the_next)
{
    const std::string x78(78, 'x');
    expect_line(x78 + "\npwd\n", x78 + "pwd", "> " + x78 + "pwd\n");
    expect_line(x78 + "\n  pwd\n", x78 + "  pwd", "> " + x78 + "  pwd\n");
    const std::string x157(157, 'x');
    expect_line(x157 + "\npwd\n", x157 + "pwd",
                "> " + x157 + "pwd" +
                    "\x1b"
                    "E\n");
}

TEST(tinyrl_input, the_end_after_a_full_piece_returns_what_was_read)
{
    const std::string x79(79, 'x');
    expect_line(x79, x79, "> " + x79 + "\n");
    const std::string x158(158, 'x');
    expect_line(x158, x158, "> " + x158 + "\n");
    expect_line(std::string(78, 'y') + "\n", std::string(78, 'y'),
                "> " + std::string(78, 'y') + "\n");
}

TEST(tinyrl_input, pieces_of_blanks_before_the_line_are_skipped)
{
    expect_line(std::string(79, ' ') + "pwd\n", "pwd", "> pwd\n");
    expect_line(std::string(200, ' ') + "pwd\n", "pwd", "> pwd\n");
    expect_line(std::string(200, ' ') + "\n", "", "> \n");
    expect_line(std::string(78, ' ') + "\npwd\n", "pwd", "> pwd\n");
}

TEST(tinyrl_input, a_line_up_to_the_margin_passes_it)
{
    expect_line(std::string(80, 'x') + "\n", std::string(80, 'x'),
                "> " + std::string(80, 'x') +
                    "\x1b"
                    "E\n");
    expect_line(std::string(81, 'x') + "\n", std::string(81, 'x'),
                "> " + std::string(81, 'x') + "\n");
    expect_line(std::string(160, 'x') + "\n", std::string(160, 'x'),
                "> " + std::string(160, 'x') +
                    "\x1b"
                    "E\n");
}

TEST(tinyrl_input, a_margin_inside_the_line_is_met_by_the_piece_that_ends_there)
{
    // 80 pieces of 79 bytes end at 6320, a multiple of 80 as well.
    const std::string text(6320, 'x');
    expect_line(text + "yy\n", text + "yy",
                "> " + text +
                    "\x1b"
                    "Eyy\n");
}

TEST(tinyrl_input, enter_may_be_bound_to_something_else)
{
    piped_session session("ab\ncd\n");
    tinyrl_bind_key(session.editor, 10, append_mark);
    EXPECT_EQ("ab10!", session.read());
    EXPECT_EQ("cd10!", session.read());
    EXPECT_EQ("> ab> cd", session.take());
}

TEST(tinyrl_input, enter_may_refuse_the_line)
{
    piped_session session("ab\n");
    tinyrl_bind_key(session.editor, 10, refuse);
    EXPECT_EQ("(none)", session.read());
    EXPECT_EQ(8, session.error);
    EXPECT_EQ("> ab", session.take());
    EXPECT_EQ("(none)", session.read());
    EXPECT_EQ(2, session.error);
}

TEST(tinyrl_input, a_line_that_does_not_fit_is_refused_whole)
{
    piped_session session(std::string(100, 'x') + "\nls\n");
    tinyrl_get_settings(session.editor)->max_line_length = 90;
    EXPECT_EQ("(none)", session.read());
    EXPECT_EQ(8, session.error);
    EXPECT_EQ("> " + std::string(79, 'x') + "\a\n", session.take());
    EXPECT_EQ("ls", session.read());
}

TEST(tinyrl_input, a_line_of_megabytes_is_read_at_once)
{
    std::string line;
    for (int i = 0; line.size() < 4000000; i++)
        line += std::to_string(i) + "/";
    piped_session session(line + "\n");
    EXPECT_TRUE(line == session.read());
}

TEST(tinyrl_input, preset_text_is_taken_instead)
{
    piped_session session("ls\n");
    EXPECT_EQ("pwd x", session.read_preset("  pwd x\nrest"));
    EXPECT_EQ("> pwd x\n", session.take());
    EXPECT_EQ("", session.read_preset(""));
    EXPECT_EQ("> \n", session.take());
    EXPECT_EQ("ls ", session.read_preset("ls "));
    EXPECT_EQ("> ls \n", session.take());
    EXPECT_EQ("ls", session.read_preset(nullptr));
    EXPECT_EQ("> ls\n", session.take());
}

TEST(tinyrl_input, preset_text_may_be_refused)
{
    piped_session session("");
    tinyrl_bind_key(session.editor, 10, refuse);
    EXPECT_EQ("(none)", session.read_preset("ls"));
    EXPECT_EQ(8, session.error);
}

TEST(tinyrl_input, preset_text_needs_no_raw_terminal)
{
    tinyrl_session session(20);
    char *line = tinyrl_readline_preset(session.editor, "> ", nullptr, "pwd");
    EXPECT_STREQ("pwd", line);
    free(line);
    EXPECT_EQ("> pwd\n", session.take());
}

TEST(tinyrl_input, the_context_is_known_within_the_read)
{
    piped_session session("ls\n");
    tinyrl_bind_key(session.editor, 10, note_context);
    EXPECT_EQ(nullptr, tinyrl_get_context(session.editor));
    EXPECT_EQ("ls", session.read());
    EXPECT_EQ(&session, context_seen);
    EXPECT_EQ(nullptr, tinyrl_get_context(session.editor));
}

TEST(tinyrl_input, after_a_read_there_is_no_line)
{
    piped_session session("ls\n");
    EXPECT_EQ(nullptr, tinyrl_get_line(session.editor));
    EXPECT_EQ("ls", session.read());
    EXPECT_EQ(nullptr, tinyrl_get_line(session.editor));
    EXPECT_EQ(0U, tinyrl_get_point(session.editor));
}

TEST(tinyrl_input, a_read_draws_its_prompt_whatever_was_drawn_before)
{
    piped_session session("ls\n");
    tinyrl_redisplay(session.editor);
    EXPECT_EQ("", session.take());
    EXPECT_EQ("ls", session.read());
    EXPECT_EQ("> ls\n", session.take());
}

TEST(tinyrl_input, without_streams_there_is_no_line)
{
    struct tinyrl *editor = tinyrl_new(nullptr, nullptr, 10, nullptr);
    errno = 0;
    EXPECT_EQ(nullptr, tinyrl_readline(editor, "> ", nullptr));
    EXPECT_EQ(2, errno);
    tinyrl_delete(editor);
}
