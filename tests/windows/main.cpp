// Test entry for the Windows suite: the thread is an OLE single-threaded apartment, as a client
// application's user-interface thread is.
#include <windows.h>
#include <ole2.h>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (FAILED(::OleInitialize(nullptr)))
        return 2;
    const int result = RUN_ALL_TESTS();
    ::OleUninitialize();
    return result;
}
