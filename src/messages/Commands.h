// Records of the seven commands. Text is in the active code page; a record is made by its decoder's caller
// and dropped when the command has been carried out.
#pragma once

#include "messages/Vocabulary.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vdipc {

struct CommandInit {
    CommandType command_type = CommandType::Init;
    std::string id;
    PreferredDeviceType preferred_device_type = PreferredDeviceType::None;
};

struct CommandAsk {
    using QuestionType = vdipc::QuestionType;

    CommandType command_type = CommandType::Ask;
    std::string id;
    std::string device;
    QuestionType type = QuestionType::None;
    std::string row1;
    bool has_row1 = false;
    std::string row2;
    bool has_row2 = false;
    std::string row3;
    bool has_row3 = false;
    std::string custom;
    std::string param;  // a JSON object in styled form, UTF-8
    std::vector<std::string> stems;
    std::string audio_file_name_prefix;
};

struct CommandStop {
    CommandType command_type = CommandType::Stop;
    std::string id;
    std::string device;
    std::string row1;
    bool has_row1 = false;
    std::string row2;
    bool has_row2 = false;
    std::string row3;
    bool has_row3 = false;
};

struct CommandText {
    CommandType command_type = CommandType::Text;
    std::string id;
    std::string device;
    std::string row1;
    bool has_row1 = false;
    std::string row2;
    bool has_row2 = false;
    std::string row3;
    bool has_row3 = false;
};

struct CommandHi {
    struct Argument {
        using Type = HiArgumentType;
        using Color = HiArgumentColor;

        Type type = Type::None;
        std::int32_t times = 0;
        Color color = Color::None;
        std::int32_t interval = 0;
        std::int32_t duration = 0;
    };

    CommandType command_type = CommandType::Hi;
    std::string id;
    std::string device;
    std::vector<Argument> arguments;
};

struct CommandDrop {
    CommandType command_type = CommandType::Drop;
    std::string id;
    std::string device;
};

struct CommandQuit {
    CommandType command_type = CommandType::Quit;
    std::string id;
};

}  // namespace vdipc
