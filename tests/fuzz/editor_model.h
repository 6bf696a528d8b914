// A line editor without a terminal, a buffer or a redraw.
#pragma once

#include <algorithm>
#include <stddef.h>
#include <string>
#include <vector>

class editor_model
{
  public:
    std::string text;
    size_t point = 0;
    bool done = false;
    size_t struck = 0; // keys, since the beginning

    void begin_line()
    {
        text.clear();
        typed.clear();
        point = 0;
        shown = lines.size();
        done = false;
        in_sequence = false;
    }

    void strike(int key)
    {
        struck++;
        if (in_sequence) {
            strike_in_sequence(static_cast<char>(key));
        } else if (key == 27) {
            in_sequence = true;
            sequence.clear();
        } else if (key >= 32 && key != 127) {
            insert(std::string(1, static_cast<char>(key)));
        } else {
            strike_control(key);
        }
    }

    // One blank at the end does not count.
    std::string result() const
    {
        return !text.empty() && text.back() == ' ' ? text.substr(0, text.size() - 1) : text;
    }

    // Ten different lines, the newest last.
    void remember(const std::string &line)
    {
        lines.erase(std::remove(lines.begin(), lines.end(), line), lines.end());
        lines.push_back(line);
        if (lines.size() > 10)
            lines.erase(lines.begin());
    }

  private:
    std::vector<std::string> lines;
    size_t shown = 0;  // which of them is shown; their number: none
    std::string typed; // the line behind the newest
    std::string killed;
    bool has_killed = false;
    bool in_sequence = false;
    std::string sequence;

    static bool is_white(char byte)
    {
        return byte == ' ' || (byte >= 9 && byte <= 13);
    }

    // Whatever changes a line of the past makes it the one that is typed.
    void change()
    {
        shown = lines.size();
    }

    void insert(const std::string &added)
    {
        change();
        text.insert(point, added);
        point += added.size();
    }

    void erase(size_t from, size_t to)
    {
        if (to > from) {
            change();
            text.erase(from, to - from);
            point = from;
        }
    }

    void show(const std::string &line)
    {
        text = line;
        point = line.size();
    }

    void older()
    {
        if (shown == 0)
            return;
        if (shown == lines.size())
            typed = text;
        show(lines[--shown]);
    }

    void newer()
    {
        if (shown == lines.size())
            return;
        shown++;
        show(shown == lines.size() ? typed : lines[shown]);
    }

    void kill(size_t from, size_t to)
    {
        killed = text.substr(from, to - from);
        has_killed = true;
        erase(from, to);
    }

    void erase_word()
    {
        size_t from = point;
        while (from > 0 && is_white(text[from - 1]))
            from--;
        while (from > 0 && !is_white(text[from - 1]))
            from--;
        erase(from, point);
    }

    void strike_control(int key)
    {
        switch (key) {
        case 1:
            point = 0;
            break;
        case 3:
            text.clear();
            point = 0;
            done = true;
            break;
        case 4:
            erase(point, std::min(point + 1, text.size()));
            break;
        case 5:
            point = text.size();
            break;
        case 8:
        case 127:
            erase(point - std::min<size_t>(point, 1), point);
            break;
        case 10:
        case 13:
            done = true;
            break;
        case 11:
            kill(point, text.size());
            break;
        case 21:
            has_killed = point > 0;
            if (has_killed)
                kill(0, point);
            break;
        case 23:
            erase_word();
            break;
        case 25:
            if (has_killed)
                insert(killed);
            break;
        default:
            break;
        }
    }

    // Nine bytes are too many for a sequence; "[" and what is below "@" do not
    // end one.
    void strike_in_sequence(char byte)
    {
        sequence += byte;
        const auto value = static_cast<unsigned char>(byte);
        if (byte == '[' || value < 64) {
            in_sequence = sequence.size() < 9;
            return;
        }
        in_sequence = false;
        strike_special();
    }

    void strike_special()
    {
        if (sequence == "[A")
            older();
        else if (sequence == "[B")
            newer();
        else if (sequence == "[C")
            point = std::min(point + 1, text.size());
        else if (sequence == "[D")
            point -= std::min<size_t>(point, 1);
        else if (sequence == "[H" || sequence == "[1~")
            point = 0;
        else if (sequence == "[F" || sequence == "[4~")
            point = text.size();
        else if (sequence == "[3~")
            erase(point, std::min(point + 1, text.size()));
    }
};
