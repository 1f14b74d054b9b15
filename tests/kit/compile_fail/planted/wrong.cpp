// Wrong marks, which the check must report.
int number();
void text(const char*);

void wrong() {
    number();       // error: nothing is wrong here
    text(number()); // error: not what the compiler says
    text(number());
}
