// Never compiled. Samples that script/check-co-await must accept, although they resemble refused ones.
// clang-format off: the samples include expressions over several lines.
Task<void> accepted() {
    co_await plain();
    co_await std::move(named);
    co_await named;
    co_return co_await proxy->handle(std::move(incoming), clientInfo_);
    co_await call(first,
                  second);
    auto line = co_await lines_.next();
    if (co_await ready()) { act(); }
    while (auto next = co_await lines_.next()) { use(*next); }
    use(co_await first(), [&] { return 1; }, Value{2});
    if (flag) co_await plain();
    const auto chosen = flag ? one : two;
    co_await call(values[0], rows[1][2], pair.of(1)[0]);
    co_await call("braces { } and a question ? in a string: \" ?", '{', '\'', '?');
    co_await call(R"(raw " { ? })", R"x(another )" { ?)x");
    co_await call(1'000'000); // after it { [] ? :
    /* co_await Value{1};
       co_await (flag ? one() : two()); */
    // co_await Value{1};
    text = "co_await Value{1};";
    co_awaited = Value{my_co_await{1}};
    co_await call(first /* { */, second);
    co_await call<std::array<int, sizeof("{")>>(first);
}
