# Checks a Homebrew formula by the rules of `brew audit` that need no brew: ruby check_formula.rb FILE
file = ARGV.fetch(0)
text = File.read(file)
lines = text.lines.map(&:chomp)
problems = []

# Syntax. A template has names between @ signs, which are plain text inside its strings.
begin
  RubyVM::InstructionSequence.compile(text)
rescue SyntaxError => e
  abort e.message
end

stanza = ->(name) { text[/^  #{name} "([^"]*)"$/, 1] }
name = File.basename(file).sub(/\.rb(\.in)?$/, "")
class_name = name.split("-").map(&:capitalize).join
problems << "the class is not #{class_name}" unless text.include?("class #{class_name} < Formula")

description = stanza["desc"].to_s
problems << "desc: 1 to 80 characters" unless (1..80).cover?(description.length)
problems << "desc: begins with an article" if description.match?(/\A(an?|the)\b/i)
problems << "desc: begins with the name" if description.downcase.start_with?(name)
problems << "desc: ends with a full stop" if description.end_with?(".")
problems << "desc: begins with a small letter" unless description.match?(/\A[A-Z]/)

unless file.end_with?(".in")
  problems << "homepage: no https address" unless stanza["homepage"].to_s.match?(%r{\Ahttps://[^/\s]+(/\S*)?\z})
  problems << "url: no https address of an archive" unless stanza["url"].to_s.match?(%r{\Ahttps://\S+\.tar\.gz\z})
  problems << "sha256: not 64 lower-case hexadecimal digits" unless stanza["sha256"].to_s.match?(/\A[0-9a-f]{64}\z/)
end

order = %w[desc homepage url sha256 license depends_on uses_from_macos on_macos def\ install test\ do]
found = order.map { |word| lines.index { |line| line.start_with?("  #{word}") } }
order.zip(found).each { |word, place| problems << "#{word} is missing" if place.nil? }
problems << "the stanzas are not in the order #{order.join(", ")}" if found.compact != found.compact.sort

dependencies = lines.grep(/^  depends_on "/)
build, run = dependencies.partition { |line| line.include?("=> :build") }
problems << "dependencies: those of the build first, each part by name" if dependencies != build.sort + run.sort

lines.each_with_index do |line, index|
  problems << "line #{index + 1}: longer than 118 characters" if line.length > 118
  problems << "line #{index + 1}: ends with a space" if line.match?(/\s\z/)
  problems << "line #{index + 1}: a tab" if line.include?("\t")
end
problems << "does not end with one line feed" unless text.end_with?("end\n")

abort problems.map { |problem| "#{file}: #{problem}" }.join("\n") unless problems.empty?
