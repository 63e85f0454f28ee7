// What the tools' command lines have in common on top of CLI11.
#ifndef TOOLS_COMMON_COMMAND_LINE_H
#define TOOLS_COMMON_COMMAND_LINE_H

#include "common/Endpoint.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <sstream>

constexpr int EXIT_WRONG_USE = 2;
constexpr unsigned MAX_PAYLOAD_TYPE = 127; // RFC 3550, 5.1: seven bits

// An address option; the endpoint must outlive the parse.
inline CLI::Option* AddEndpoint(CLI::App& app, const std::string& name, Endpoint& endpoint, const std::string& help) {
    const auto read = [&endpoint, name](const std::string& text) {
        if (!Endpoint::Parse(text, endpoint)) {
            throw CLI::ValidationError(name, text + " is no address: 127.0.0.1:5004 or [::1]:5004, port 1 to 65534");
        }
    };
    return app.add_option_function<std::string>(name, read, help)->type_name("IP:PORT");
}

// A number from 0 to `most`; what it holds is the default.
inline CLI::Option* AddNumber(CLI::App& app, const std::string& name, unsigned& number, unsigned most,
                              const std::string& help) {
    return app.add_option(name, number, help)
        ->check(CLI::Range(0U, most).description("")) // the type says it
        ->type_name("0.." + std::to_string(most))
        ->capture_default_str();
}

// A quantity from `least` to `most`, which NaN is not; what it holds is the default.
inline CLI::Option* AddQuantity(CLI::App& app, const std::string& name, double& quantity, double least, double most,
                                const std::string& help) {
    const auto problem = [least, most](const std::string& text) {
        double value = 0;
        const bool isWithin = CLI::detail::lexical_cast(text, value) && value >= least && value <= most;
        std::ostringstream range;
        range.precision(std::numeric_limits<double>::digits10);
        range << "Value " << text << " not in range " << least << " to " << most;
        return isWithin ? std::string() : range.str();
    };
    return app.add_option(name, quantity, help)->check(problem)->capture_default_str();
}

// Parses and reports a mistake in one line: true to go on, else `exitStatus` is what main returns.
inline bool ParseCommandLine(CLI::App& app, int argc, char** argv, int& exitStatus) {
    app.failure_message([](const CLI::App* program, const CLI::Error& error) {
        return program->get_name() + ": " + error.what() + " (--help explains)\n";
    });
    try {
        app.parse(argc, argv);
        return true;
    } catch (const CLI::ParseError& error) {
        exitStatus = app.exit(error) == 0 ? 0 : EXIT_WRONG_USE;
        return false;
    }
}

#endif
