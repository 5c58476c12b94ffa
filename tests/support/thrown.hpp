#pragma once
// What an action throws, for failure texts and codes; throwing nothing fails the test.

#include <gtest/gtest.h>

#include <stdexcept>

template <typename Exception, typename Action>
Exception Thrown(Action&& action) {
    try {
        action();
    } catch (const Exception& e) {
        return e;
    }
    throw std::logic_error("nothing was thrown");
}

// The text only, for a base class whose copy would lose it.
template <typename Exception = std::exception, typename Action>
std::string WhatOf(Action&& action) {
    try {
        action();
    } catch (const Exception& e) {
        return e.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}
