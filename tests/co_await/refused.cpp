// Never compiled. Samples that script/check-co-await must refuse. Each such line is marked.
// clang-format off: the samples include expressions over several lines.
Task<void> refused() {
    co_await Value{1};                        // refused
    co_await call({1, 2});                    // refused
    co_await call(Value{1});                  // refused
    co_await call([&] { return 1; });         // refused
    co_await call(first, [] (int) -> int;     // refused
    co_await (flag ? one() : two());          // refused
    co_await call(flag ? 1 : 2);              // refused
    co_await flag ? one() : two();            // refused
    co_return co_await call(Value{});         // refused
    if (co_await call({})) { act(); }         // refused
    use(first, co_await call({}), second);    // refused
    auto text = "// no comment"; co_await call({}); // refused
    auto raw = R"(" // ")"; co_await call({}); // refused
    auto quote = '"'; co_await call({});      // refused
    auto number = 1'000; co_await call({}); auto other = 1'0; // refused
    co_await                                  // refused
        call(first,
             Value{2});
    co_await call(first); co_await call({});  // refused
    co_await call<First, Second>({1});        // refused
    co_await call<std::pair<A, B>>(Value{1}); // refused
    co_await call(u8R"(" {)", {});            // refused
}
