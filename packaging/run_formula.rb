# Does what `brew install` and `brew test` do with a formula, without brew: ruby run_formula.rb FORMULA SOURCES PREFIX
# It defines its own class Formula. The packages of this machine replace the formula's dependencies.
require "open3"
require "pathname"

formula_file, sources, prefix = ARGV
PREFIX = Pathname(File.expand_path(prefix))

class Formula
  # check_formula.rb checks the descriptions of the formula.
  %i[desc homepage url sha256 license depends_on uses_from_macos on_macos].each do |name|
    define_singleton_method(name) { |*_arguments, **_options| nil }
  end

  class << self
    attr_reader :steps_of_test

    def test(&steps)
      @steps_of_test = steps
    end
  end

  def bin
    PREFIX/"bin"
  end

  def std_cmake_args
    ["-DCMAKE_INSTALL_PREFIX=#{PREFIX}", "-DCMAKE_INSTALL_LIBDIR=lib", "-DCMAKE_BUILD_TYPE=Release",
     "-DCMAKE_FIND_FRAMEWORK=LAST", "-DBUILD_TESTING=OFF", "-Wno-dev"]
  end

  def system(*words)
    output, status = Open3.capture2e(*words.map(&:to_s))
    abort "#{words.join(" ")} failed:\n#{output}" unless status.success?
  end

  def pipe_output(command, input, expected_status)
    output, status = Open3.capture2(command.to_s, stdin_data: input)
    abort "#{command} ended with #{status.exitstatus}" if status.exitstatus != expected_status
    output
  end

  def assert_match(expected, text)
    abort "the test found no #{expected} in: #{text}" unless text.match?(expected)
  end
end

require File.expand_path(formula_file)
formula = VostelMcp.new
Dir.chdir(sources) { formula.install }
formula.instance_exec(&VostelMcp.steps_of_test)
puts Dir.glob("**/*", base: PREFIX).reject { |name| (PREFIX/name).directory? }.sort
